# The two commands a user needs (both install what is missing first):
#   make demo   build everything and analyse the bundled example plate with
#               the corvel tool (results and report in build/demo)
#   make test   build and run every test: Release, ASan/UBSan, the concurrency
#               test under TSan, a short run of every fuzzer, and the Windows
#               DLL cross-build with its export check
# Further targets: release, debug, asan, windows, bench, host-demo, example,
# fuzz (FUZZ_SECONDS=n per harness), format, clean.

CMAKE ?= cmake
CTEST ?= ctest

.PHONY: all deps release debug asan demo host-demo example test test-release test-asan \
        test-tsan fuzz windows bench format clean

all: release

deps:
	@scripts/install-deps.sh

release: deps
	$(CMAKE) --preset release
	$(CMAKE) --build --preset release

debug: deps
	$(CMAKE) --preset debug
	$(CMAKE) --build --preset debug

asan: deps
	$(CMAKE) --preset asan
	$(CMAKE) --build --preset asan

demo: release
	@echo
	./build/release/tools/corvel analyze examples/data/example_plate.rdml --out build/demo \
	  --reference GAPDH --reference ACTB --calibrator control

# The C host program that calls the library directly.
host-demo: release
	./build/release/examples/host_demo

# Regenerates the bundled example plate (its test checks it is up to date).
example: release
	./build/release/tools/corvel_example_plate examples/data

test-release: release
	$(CTEST) --preset release

test-asan: asan
	$(CTEST) --preset asan

# The concurrency test, built and run under ThreadSanitizer.
test-tsan: deps
	$(CMAKE) --preset tsan
	$(CMAKE) --build --preset tsan
	$(CTEST) --preset tsan

# Every libFuzzer harness (clang, ASan + UBSan) for FUZZ_SECONDS each,
# starting from its seed corpus. A longer campaign: docs/robustness.md.
FUZZ_SECONDS ?= 20
fuzz:
	@scripts/install-deps.sh fuzz
	$(CMAKE) --preset fuzz -DCORVEL_FUZZ_SECONDS=$(FUZZ_SECONDS)
	$(CMAKE) --build --preset fuzz
	$(CTEST) --preset fuzz

# The library as a Windows DLL, cross-compiled with MinGW-w64; checks that
# it exports exactly what a Linux build does.
windows:
	@scripts/install-deps.sh windows
	$(CMAKE) -S . -B build/mingw -G Ninja -DCMAKE_BUILD_TYPE=Release \
	  -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DCORVEL_BUILD_TESTS=OFF \
	  -DCORVEL_BUILD_TOOLS=OFF
	$(CMAKE) --build build/mingw
	$(CMAKE) -DNM=x86_64-w64-mingw32-objdump -DLIBRARY=build/mingw/src/CorvelAlg.dll \
	  -DHEADER=include/CorvelAlg.h -DEXPECTED=tests/exports.txt -P tests/cmake/check_exports.cmake

test: test-release test-asan test-tsan fuzz windows

bench: release
	./build/release/bench/corvel_bench

format:
	clang-format -i include/*.h $$(git ls-files 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' \
	  'bench/*.cpp' 'examples/*.c' 'tests/*.c' 'tools/*.cpp' 'tools/*.h')

clean:
	rm -rf build
