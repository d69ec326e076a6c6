# Puts the built agent runtime with only its production packages into STAGE, the folder that is
# installed as share/tavrik/runtime. Pruning a copy of the checkout's packages works offline.
# cmake -DSOURCE=<runtime folder> -DSTAGE=<folder> -DNPM=<npm> -P StageRuntime.cmake
foreach(required SOURCE STAGE NPM)
  if(NOT ${required})
    message(FATAL_ERROR "StageRuntime.cmake needs -D${required}=...")
  endif()
endforeach()
if(NOT EXISTS ${SOURCE}/dist/cli.js OR NOT IS_DIRECTORY ${SOURCE}/node_modules)
  message(FATAL_ERROR "${SOURCE} is not built: run scripts/build-runtime")
endif()
file(REMOVE_RECURSE ${STAGE})
file(MAKE_DIRECTORY ${STAGE})
file(COPY ${SOURCE}/package.json ${SOURCE}/package-lock.json ${SOURCE}/dist ${SOURCE}/node_modules
  DESTINATION ${STAGE})
# The checkout's build stamp is not part of the program.
file(REMOVE ${STAGE}/node_modules/.tavrik-lock.sha256)
execute_process(COMMAND ${NPM} prune --omit=dev --offline --no-audit --no-fund --loglevel=error
  WORKING_DIRECTORY ${STAGE} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "npm prune failed in ${STAGE}")
endif()
# npm leaves the scope folders of removed packages behind, empty.
file(GLOB scopes LIST_DIRECTORIES true ${STAGE}/node_modules/@*)
foreach(scope IN LISTS scopes)
  file(GLOB inside ${scope}/*)
  if(NOT inside)
    file(REMOVE_RECURSE ${scope})
  endif()
endforeach()
