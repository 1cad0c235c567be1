# Thin wrapper over CMake for the two everyday commands:
#   make run   install what is missing, build, run the example
#   make test  build with -Werror and run the tests, plain (g++) and under
#              AddressSanitizer and UndefinedBehaviorSanitizer (clang)

BUILD      ?= build
TEST_BUILD ?= build-test
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
GENERATOR  := $(if $(shell command -v ninja 2>/dev/null),-G Ninja,)

.PHONY: all deps build run test test-plain test-sanitize clean

all: build

deps:
	@./scripts/install-deps.sh

build: deps
	cmake -S . -B $(BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/examples/edit_cfg examples/data/sample.cfg $(BUILD)/sample-edited.cfg Net.Port 8080

test: test-plain test-sanitize

test-plain: deps
	CXX=g++ cmake -S . -B $(TEST_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	    -DZELCONFIG_WERROR=ON
	cmake --build $(TEST_BUILD) -j $(JOBS)
	cd $(TEST_BUILD) && ctest --output-on-failure -j $(JOBS)

test-sanitize: deps
	CXX=clang++ cmake -S . -B $(ASAN_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=Debug \
	    -DZELCONFIG_WERROR=ON -DZELCONFIG_SANITIZE=ON
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=0 \
	    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j $(JOBS)

clean:
	rm -rf $(BUILD) $(TEST_BUILD) $(ASAN_BUILD)
