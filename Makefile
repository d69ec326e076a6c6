# `make run` and `make test` do all set-up on a fresh Debian 12 machine.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=
SANITIZE_BUILD ?= build-asan
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 20
# `make run` installs and builds only what running Tavrik needs; the other targets also get what
# the tests and benchmarks need (a virtual desktop, a second sound server, test frameworks).
WITH_TESTS ?= ON
run: WITH_TESTS = OFF

.PHONY: all deps configure build run test test-wayland bench sanitize fuzz package clean

all: build

deps:
	@scripts/install-deps
	@if [ "$(WITH_TESTS)" = ON ]; then scripts/install-deps test; fi

configure: deps
	cmake -S . -B $(BUILD) -DTAVRIK_BUILD_TESTS=$(WITH_TESTS) -DTAVRIK_BUILD_BENCH=$(WITH_TESTS) $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD) -j$(JOBS)
	scripts/build-runtime

run: build
	$(BUILD)/tavrik

# The suite runs inside a private virtual desktop when the script for it exists.
test: build
	scripts/run-tests $(BUILD)

# The longer Wayland suite: a whole headless GNOME Shell with Tavrik's extension, and a headless KWin.
test-wayland:
	@scripts/install-deps wayland
	$(MAKE) build
	ctest --test-dir $(BUILD) --output-on-failure -L long

bench: build
	scripts/run-benchmarks $(BUILD)

# The suite under AddressSanitizer and UndefinedBehaviorSanitizer, built with clang at -O1 with line
# tables only (reports name the file and line) and without benchmarks. The same build carries the
# fuzz targets, so `make fuzz FUZZ_BUILD=$(SANITIZE_BUILD)` afterwards only links and runs them.
sanitize: export UBSAN_OPTIONS ?= print_stacktrace=1
sanitize: export LSAN_OPTIONS ?= suppressions=$(CURDIR)/scripts/lsan-suppressions.txt
sanitize:
	@scripts/install-deps fuzz
	$(MAKE) test BUILD=$(SANITIZE_BUILD) \
		CMAKE_FLAGS="$(CMAKE_FLAGS) -DCMAKE_C_COMPILER=clang \
		-DCMAKE_CXX_COMPILER=clang++ -DTAVRIK_SANITIZE=ON -DTAVRIK_FUZZ=ON -DTAVRIK_BUILD_BENCH=OFF"

# Builds the core and its libFuzzer targets with clang, then runs each for FUZZ_SECONDS.
fuzz: deps
	@scripts/install-deps fuzz
	cmake -S . -B $(FUZZ_BUILD) -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
		-DTAVRIK_FUZZ=ON $(CMAKE_FLAGS)
	cmake --build $(FUZZ_BUILD) -j$(JOBS)
	scripts/run-fuzz $(FUZZ_BUILD) $(FUZZ_SECONDS)

# A Debian package of what `cmake --install` puts under /usr; its runtime runs on the Node.js 20
# it ships, since Debian 12's own is 18.
package: build
	cmake -DTAVRIK_BUNDLE_NODE=ON $(BUILD)
	cmake --build $(BUILD) --target package

clean:
	rm -rf $(BUILD) $(SANITIZE_BUILD) $(FUZZ_BUILD)
