# Short aliases over the presets of CMakePresets.json (cmake --preset,
# cmake --build --preset, ctest --preset), one per everyday command:
#   make run   install what is missing, build zelcfg, run it on the examples
#   make test  build with -Werror and run the tests, plain (g++) and under
#              AddressSanitizer and UndefinedBehaviorSanitizer (clang)
#   make bench build in Release, install the peer libraries, run every
#              benchmark and print the table (docs/performance.md)
#   make bench-smoke  the same build, every benchmark once on the small file,
#              the memory bounds of hostile parses, and the binaries' sizes
#   make docs  the API reference, by Doxygen from the public headers, in
#              build-docs/html; any warning fails
#   make deb   the Debian packages (dpkg-buildpackage -b -us -uc), in build-deb
#   make package-check  install into a staging prefix and build the consumer
#              example through CMake and pkg-config; build the Debian packages
#              twice (byte-identical), run lintian and the ABI check, install
#              them into a clean Debian 12 root and check them there
#   make abi-baseline  write the ABI baselines in abi/ from a package build
#   make cross-test  cross-build for aarch64 and run the tests under qemu
#   make cross-test-armhf  the same for 32-bit ARM (armhf), under qemu-arm
#   make test-libcxx the tests built with clang and LLVM's libc++
#   make qnx-standin the QNX toolchain file with stand-ins for qcc/q++: the
#              libraries built, their exports and imports checked
#   make fuzz        every fuzz harness for FUZZ_SECONDS under ASan and UBSan
#   make test-tsan   the threads test under ThreadSanitizer (clang)
#   make test-valgrind  the plain build's tests under valgrind's memcheck
#   make quick-start-check  the README's two commands on a brand-new Debian 12
#              (scripts/quick-start-check.sh, as root; what CI ends with)
# Each preset has its build directory: build, build-test, build-asan,
# build-bench, build-package, build-aarch64, build-armhf, build-libcxx,
# build-qnx, build-fuzz, build-tsan; the Debian packages are built in
# build-deb and, by package-check, build-deb-check; the API reference in
# build-docs.

BENCH_ROUNDS ?= 5
BENCH_FILES  ?= typical,large,wide
FUZZ_SECONDS ?= 45
# Empty: every harness; else the ones named, e.g. FUZZ_TARGETS="fuzz_xml".
FUZZ_TARGETS ?=
JOBS         ?= $(shell nproc 2>/dev/null || echo 2)

BUILD_DIRS := build build-test build-asan build-bench build-package build-aarch64 build-armhf \
              build-libcxx build-qnx build-fuzz build-tsan build-deb build-deb-check build-docs
DEPS       := ./scripts/install-deps.sh
empty      :=
space      := $(empty) $(empty)

.PHONY: all deps deps-bench deps-package deps-cross build run test test-plain test-sanitize \
        test-build bench bench-build bench-smoke clean fuzz fuzz-build test-tsan \
        test-valgrind package-check cross-test cross-test-armhf test-libcxx deps-cross-armhf \
        deps-libcxx qnx-standin deb abi-baseline docs deps-docs quick-start-check

all: build

deps:
	@$(DEPS)

deps-bench:
	@$(DEPS) bench

deps-package:
	@$(DEPS) package

deps-cross:
	@$(DEPS) cross

deps-cross-armhf:
	@$(DEPS) cross-armhf

deps-libcxx:
	@$(DEPS) libcxx

deps-docs:
	@$(DEPS) docs

build: deps
	cmake --preset default
	cmake --build --preset default -j $(JOBS)

# zelcfg on the shipped examples (scripts/demo.sh: a get, a set on a copy, a
# list, a lint). Only the tool is built, quietly: CMake's output goes to
# build/build.log, shown when the build fails.
run: deps
	@echo "Building zelcfg (log: build/build.log)"
	@mkdir -p build && { cmake --preset default && cmake --build --preset zelcfg -j $(JOBS); } \
	    >build/build.log 2>&1 || { cat build/build.log; echo "make run: the build failed" >&2; exit 1; }
	@./scripts/demo.sh build/tools/zelcfg/zelcfg build

test: test-plain test-sanitize

test-build: deps
	cmake --preset test
	cmake --build --preset test -j $(JOBS)

test-plain: test-build
	ctest --preset test -j $(JOBS)

test-sanitize: deps
	cmake --preset sanitize
	cmake --build --preset sanitize -j $(JOBS)
	ctest --preset sanitize -j $(JOBS)

bench-build: deps-bench
	cmake --preset bench
	cmake --build --preset bench -j $(JOBS)

# zelcfg's XML commands as depth and siblings grow, in a build with the XML
# plug-in, whose document code they use.
bench_growth = @if [ -x build-bench/bench/zelconfig_bench_growth ]; then \
	    build-bench/bench/zelconfig_bench_growth build-bench/data $(1); \
	else echo "zelconfig_bench_growth: not built, for want of the XML plug-in"; fi

# The synthetic files (about 100 MB) are written to build-bench/data.
bench: bench-build
	build-bench/bench/zelconfig_bench --rounds $(BENCH_ROUNDS) --files $(BENCH_FILES) --data build-bench/data
	build-bench/bench/zelconfig_bench_memory build-bench/data
	$(call bench_growth)

bench-smoke: bench-build
	build-bench/bench/zelconfig_bench --smoke --data build-bench/data
	build-bench/bench/zelconfig_bench_memory build-bench/data
	$(call bench_growth,--smoke)
	./scripts/sizes.sh build-bench

clean:
	rm -rf $(BUILD_DIRS)

# The API reference (scripts/make-docs.sh): Doxygen reads the public headers'
# comments; a class, function or enumerator without one fails, as does any
# other warning of Doxygen's.
docs: deps-docs
	./scripts/make-docs.sh build-docs

# libzelconfig1, libzelconfig-dev, zelcfg (with their -dbgsym packages) and
# libzelconfig-doc land in build-deb; DEB_BUILD_OPTIONS=nocheck leaves the
# tests out.
deb: deps-package
	./scripts/build-deb.sh build-deb

# CTest checks a staging install under the preset's prefix /usr and its
# consumers (label package); the script, the Debian packages (as root, or
# through sudo, for the clean root).
package-check: deps-package
	cmake --preset package
	cmake --build --preset package -j $(JOBS)
	ctest --preset package
	./scripts/package-check.sh build-deb-check

# After a change of the ABI that is meant (new symbols to track, or a new
# SONAME): rewrite abi/ from the packages' libraries, then commit it.
abi-baseline: deps-package
	DEB_BUILD_OPTIONS="nocheck $$DEB_BUILD_OPTIONS" ./scripts/build-deb.sh build-deb
	./scripts/abi-check.sh update build-deb/src/zelconfig

# Tests run under qemu-aarch64 (the toolchain file sets it as the emulator).
cross-test: deps-cross
	cmake --preset cross
	cmake --build --preset cross -j $(JOBS)
	ctest --preset cross -j $(JOBS)

# The same for 32-bit ARM: a 32-bit long, as on the ARMv7 targets; the tests
# run under qemu-arm.
cross-test-armhf: deps-cross-armhf
	cmake --preset cross-armhf
	cmake --build --preset cross-armhf -j $(JOBS)
	ctest --preset cross-armhf -j $(JOBS)

# clang with LLVM's libc++, the standard library of the target's compilers;
# GoogleTest is built from its sources with the same library.
test-libcxx: deps-libcxx
	cmake --preset libcxx
	cmake --build --preset libcxx -j $(JOBS)
	ctest --preset libcxx -j $(JOBS)

# No QNX SDP here: cmake/qnx-standins lays out a stand-in (qcc/q++ run the
# host's clang with the driver's target flags; Debian's aarch64 binutils under
# the SDP's names) and the toolchain file builds the libraries with it. The
# exports and imports checks then read them with the SDP-named nm.
QNX_NM := build-qnx/sdp/host/usr/bin/ntoaarch64-nm
qnx-standin:
	@$(DEPS) cross libcxx
	cmake/qnx-standins/make-sdp.sh build-qnx/sdp >/dev/null
	cmake --preset qnx-standin
	cmake --build --preset qnx-standin -j $(JOBS)
	for library in ZelConfig ZelConfigDocument; do \
	    cmake -DLIBRARY=build-qnx/lib$$library.so -DSONAME=lib$$library.so.1 -DNM=$(QNX_NM) \
	          -DREADELF=build-qnx/sdp/host/usr/bin/ntoaarch64-readelf -P tests/check_exports.cmake \
	        || exit 1; \
	done
	cmake "-DFILES=build-qnx/libZelConfig.so;build-qnx/libZelConfigDocument.so" -DNM=$(QNX_NM) \
	      -DPOSIX=tests/data/posix-2008-functions.txt -DEXCEPTIONS=tests/data/import-exceptions.txt \
	      -P tests/check_imports.cmake

fuzz-build:
	@$(DEPS) fuzz
	cmake --preset fuzz -DZELCONFIG_FUZZ_SECONDS=$(FUZZ_SECONDS)
	cmake --build --preset fuzz -j $(JOBS)

# Each harness's test (label fuzz) runs it for FUZZ_SECONDS from its committed
# corpus; what it finds goes to build-fuzz/corpus, a crashing input to
# build-fuzz/crashes (copy it into fuzz/corpus/<harness>/ with the fix). Any
# crash fails.
fuzz: fuzz-build
	ctest --preset fuzz $(if $(strip $(FUZZ_TARGETS)),-R '^($(subst $(space),|,$(strip $(FUZZ_TARGETS))))_fuzzing$$')

# Threads in one process, each on objects of its own, and several loading the
# XML plug-in at once; any report of ThreadSanitizer fails.
test-tsan: deps
	cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan

# The plain build's tests under memcheck (built, not run plain again): any
# error or definite leak fails. Label no-memcheck skips the test that replaces
# operator new itself (valgrind's own replacement in libstdc++ would pair with
# it wrongly; LeakSanitizer covers it) and those whose process is a shell or
# CMake (valgrind would check that program). Dashboard mode (-T) takes the
# build directory from --test-dir only.
test-valgrind: test-build
	@$(DEPS) valgrind
	ctest --preset memcheck --test-dir build-test -j $(JOBS) -T memcheck \
	    --overwrite MemoryCheckCommand=$$(command -v valgrind) \
	    --overwrite "MemoryCheckCommandOptions=--error-exitcode=99 --leak-check=full \
	        --errors-for-leak-kinds=definite --suppressions=$(CURDIR)/tests/valgrind.supp"

# The README's Quick start (make run, make test) on a brand-new Debian 12
# with only git and make, from the committed HEAD. Needs root.
quick-start-check:
	./scripts/quick-start-check.sh
