# `make run` and `make test` do all set-up on a fresh Debian 12 machine.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=
# `make run` installs and builds only what running Tavrik needs; the other targets also get what
# the tests and benchmarks need (a virtual desktop, a second sound server, test frameworks).
WITH_TESTS ?= ON
run: WITH_TESTS = OFF

.PHONY: all deps configure build run test bench sanitize package clean

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

bench: build
	scripts/run-benchmarks $(BUILD)

sanitize:
	$(MAKE) test BUILD=build-asan CMAKE_FLAGS="-DTAVRIK_SANITIZE=ON -DTAVRIK_BUILD_BENCH=OFF"

# A Debian package of what `cmake --install` puts under /usr; its runtime runs on /usr/bin/node.
package: build
	cmake -DTAVRIK_INSTALLED_NODE=/usr/bin/node $(BUILD)
	cmake --build $(BUILD) --target package

clean:
	rm -rf $(BUILD) build-asan
