# Thin wrapper over CMake for the two everyday commands:
#   make run   install what is missing, build zelcfg, run it on the examples
#   make test  build with -Werror and run the tests, plain (g++) and under
#              AddressSanitizer and UndefinedBehaviorSanitizer (clang)
#   make bench build in Release, install the peer libraries, run every
#              benchmark and print the table (docs/performance.md)
#   make bench-smoke  the same build, every benchmark once on the small file
#   make package-check  install into a staging prefix, build and run the
#              consumer example through CMake and pkg-config, build and check the .deb
#   make cross-test  cross-build for aarch64 and run the tests under qemu
#   make fuzz        every fuzz harness for FUZZ_SECONDS under ASan and UBSan
#   make test-tsan   the threads test under ThreadSanitizer (clang)
#   make test-valgrind  the plain build's tests under valgrind's memcheck

BUILD      ?= build
TEST_BUILD ?= build-test
ASAN_BUILD ?= build-asan
BENCH_BUILD ?= build-bench
PACKAGE_BUILD ?= build-package
CROSS_BUILD ?= build-aarch64
BENCH_ROUNDS ?= 5
BENCH_FILES ?= typical,large,wide
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 45
FUZZ_TARGETS := fuzz_parse_ops fuzz_round_trip fuzz_getters fuzz_backend fuzz_document fuzz_xml
TSAN_BUILD ?= build-tsan
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
GENERATOR  := $(if $(shell command -v ninja 2>/dev/null),-G Ninja,)

.PHONY: all deps deps-bench build run test test-plain test-sanitize bench bench-build bench-smoke clean \
        fuzz fuzz-build test-tsan test-valgrind deps-package package-check deps-cross cross-test

all: build

deps:
	@./scripts/install-deps.sh

deps-bench:
	@./scripts/install-deps.sh bench

build: deps
	cmake -S . -B $(BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD) -j $(JOBS)

# zelcfg on the shipped examples (scripts/demo.sh: a get, a set on a copy, a
# list, a lint). Only the tool is built, quietly: CMake's output goes to
# $(BUILD)/build.log, shown when the build fails.
ZELCFG = $(BUILD)/tools/zelcfg/zelcfg
run: deps
	@echo "Building zelcfg (log: $(BUILD)/build.log)"
	@mkdir -p $(BUILD) && { cmake -S . -B $(BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo && \
	    cmake --build $(BUILD) -j $(JOBS) --target zelcfg; } >$(BUILD)/build.log 2>&1 \
	    || { cat $(BUILD)/build.log; echo "make run: the build failed" >&2; exit 1; }
	@./scripts/demo.sh $(ZELCFG) $(BUILD)

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

bench-build: deps-bench
	cmake -S . -B $(BENCH_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=Release -DZELCONFIG_WERROR=ON \
	    -DZELCONFIG_BUILD_BENCH=ON -DZELCONFIG_BUILD_TESTS=OFF -DZELCONFIG_BUILD_EXAMPLES=OFF
	cmake --build $(BENCH_BUILD) -j $(JOBS)

# The synthetic files (about 100 MB) are written to $(BENCH_BUILD)/data.
bench: bench-build
	$(BENCH_BUILD)/bench/zelconfig_bench --rounds $(BENCH_ROUNDS) --files $(BENCH_FILES) \
	    --data $(BENCH_BUILD)/data

bench-smoke: bench-build
	$(BENCH_BUILD)/bench/zelconfig_bench --smoke --data $(BENCH_BUILD)/data

clean:
	rm -rf $(BUILD) $(TEST_BUILD) $(ASAN_BUILD) $(BENCH_BUILD) $(PACKAGE_BUILD) $(CROSS_BUILD) \
	    $(FUZZ_BUILD) $(TSAN_BUILD)

deps-package:
	@./scripts/install-deps.sh package

# Installed under /usr in the .deb, hence the prefix (Debian's multiarch libdir).
package-check: deps-package
	cmake -S . -B $(PACKAGE_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	    -DZELCONFIG_WERROR=ON -DCMAKE_INSTALL_PREFIX=/usr \
	    -DZELCONFIG_BUILD_TESTS=OFF -DZELCONFIG_BUILD_EXAMPLES=OFF
	cmake --build $(PACKAGE_BUILD) -j $(JOBS)
	./scripts/package-check.sh $(PACKAGE_BUILD)

deps-cross:
	@./scripts/install-deps.sh cross

# Tests run under qemu-aarch64 (the toolchain file sets it as the emulator).
cross-test: deps-cross
	cmake -S . -B $(CROSS_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZELCONFIG_WERROR=ON \
	    -DCMAKE_TOOLCHAIN_FILE=$(CURDIR)/cmake/toolchains/aarch64-linux-gnu.cmake
	cmake --build $(CROSS_BUILD) -j $(JOBS)
	cd $(CROSS_BUILD) && ctest --output-on-failure -j $(JOBS)

fuzz-build:
	@./scripts/install-deps.sh fuzz
	CXX=clang++ cmake -S . -B $(FUZZ_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	    -DZELCONFIG_WERROR=ON -DZELCONFIG_SANITIZE=ON -DZELCONFIG_BUILD_FUZZ=ON \
	    -DZELCONFIG_BUILD_TESTS=OFF -DZELCONFIG_BUILD_EXAMPLES=OFF
	cmake --build $(FUZZ_BUILD) -j $(JOBS)

# Each harness runs for FUZZ_SECONDS from its committed corpus; what it finds
# goes to $(FUZZ_BUILD)/corpus, a crashing input to $(FUZZ_BUILD)/crashes
# (copy it into fuzz/corpus/<harness>/ with the fix). Any crash fails.
fuzz: fuzz-build
	@for target in $(FUZZ_TARGETS); do \
	    mkdir -p $(FUZZ_BUILD)/corpus/$$target $(FUZZ_BUILD)/crashes && \
	    echo "== $$target for $(FUZZ_SECONDS) s" && \
	    ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	    LD_LIBRARY_PATH=$(CURDIR)/$(FUZZ_BUILD)/nowhere \
	    $(FUZZ_BUILD)/fuzz/$$target -max_total_time=$(FUZZ_SECONDS) -timeout=20 -max_len=4096 \
	        -print_final_stats=1 -artifact_prefix=$(FUZZ_BUILD)/crashes/$$target- \
	        $(FUZZ_BUILD)/corpus/$$target fuzz/corpus/$$target 2>$(FUZZ_BUILD)/$$target.log \
	    || { tail -n 60 $(FUZZ_BUILD)/$$target.log; exit 1; }; \
	    grep -E '^stat::(number_of_executed_units|peak_rss_mb)' $(FUZZ_BUILD)/$$target.log; \
	done

# Threads in one process, each on objects of its own, and several loading the
# XML plug-in at once; any report of ThreadSanitizer fails.
test-tsan: deps
	CXX=clang++ cmake -S . -B $(TSAN_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	    -DZELCONFIG_WERROR=ON -DZELCONFIG_SANITIZE_THREAD=ON -DZELCONFIG_BUILD_EXAMPLES=OFF
	cmake --build $(TSAN_BUILD) -j $(JOBS) --target frontend_threads_test recording
	cd $(TSAN_BUILD) && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
	    ctest --output-on-failure -R '^frontend_threads'

# The plain build's tests under memcheck: any error or definite leak fails.
# Skipped: the test that replaces operator new itself (valgrind's own
# replacement in libstdc++ would pair with it wrongly; LeakSanitizer covers
# it) and the one whose memory bounds assume glibc's allocator.
VALGRIND_SKIP ?= ^(cfg_alloc_failure_test|cfg_hostile_input_test)$$
test-valgrind: test-plain
	@./scripts/install-deps.sh valgrind
	cd $(TEST_BUILD) && ctest --output-on-failure -j $(JOBS) -E '$(VALGRIND_SKIP)' -T memcheck \
	    --overwrite MemoryCheckCommand=$$(command -v valgrind) \
	    --overwrite "MemoryCheckCommandOptions=--error-exitcode=99 --leak-check=full \
	        --errors-for-leak-kinds=definite --suppressions=$(CURDIR)/tests/valgrind.supp"
