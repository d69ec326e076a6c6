# `make run` and `make test` do all set-up on a fresh Debian 12 machine.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps configure build run test bench sanitize clean

all: build

deps:
	@scripts/install-deps

configure: deps
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)

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

clean:
	rm -rf $(BUILD) build-asan
