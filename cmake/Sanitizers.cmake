# TAVRIK_SANITIZE builds everything with AddressSanitizer and UndefinedBehaviorSanitizer.
# TAVRIK_FUZZ adds the libFuzzer targets; alone it builds only the core and those targets, and
# together with TAVRIK_SANITIZE the fuzz targets come from the same build as the sanitized suite.
if(TAVRIK_FUZZ AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "TAVRIK_FUZZ needs clang: configure with CC=clang CXX=clang++")
endif()
if(TAVRIK_SANITIZE OR TAVRIK_FUZZ)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
  # Reports need file and line, not variables; -O1 keeps the suite fast enough while the full
  # debug information and -O2 would double the build's time.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    set(tavrik_sanitize_flags "-O1 -gline-tables-only")
  else()
    set(tavrik_sanitize_flags "-O1 -g1")
  endif()
  foreach(config RELWITHDEBINFO RELEASE MINSIZEREL)
    set(CMAKE_C_FLAGS_${config} "${tavrik_sanitize_flags} -DNDEBUG")
    set(CMAKE_CXX_FLAGS_${config} "${tavrik_sanitize_flags} -DNDEBUG")
  endforeach()
endif()
