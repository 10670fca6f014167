# Quick start: `make run` builds and runs xtsutil on its embedded sample;
# `make test` builds and runs the whole suite, plain and under
# AddressSanitizer + UndefinedBehaviorSanitizer. Both install any missing
# Debian package first when run as root.

JOBS ?= $(shell nproc)
BUILD_DIR ?= build
ASAN_DIR ?= build-asan
BENCH_DIR ?= build-bench
CMAKE_COMMON = -G Ninja -DXTS_WERROR=ON

export ASAN_OPTIONS ?= halt_on_error=1:abort_on_error=0:detect_leaks=1
export UBSAN_OPTIONS ?= halt_on_error=1:print_stacktrace=1

.PHONY: all deps build run test test-plain test-asan bench format clean

all: build

deps:
	@./scripts/ensure-deps.sh

$(BUILD_DIR)/build.ninja: | deps
	cmake -S . -B $(BUILD_DIR) $(CMAKE_COMMON) -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: deps $(BUILD_DIR)/build.ninja
	cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	./$(BUILD_DIR)/tools/xtsutil/xtsutil demo

test: test-plain test-asan

test-plain: build
	cd $(BUILD_DIR) && ctest -j $(JOBS) --output-on-failure

$(ASAN_DIR)/build.ninja: | deps
	cmake -S . -B $(ASAN_DIR) $(CMAKE_COMMON) -DCMAKE_BUILD_TYPE=Debug \
	    -DCMAKE_CXX_COMPILER=clang++ -DXTS_SANITIZE=ON

test-asan: deps $(ASAN_DIR)/build.ninja
	cmake --build $(ASAN_DIR) -j $(JOBS)
	cd $(ASAN_DIR) && ctest -j $(JOBS) --output-on-failure

$(BENCH_DIR)/build.ninja: | deps
	cmake -S . -B $(BENCH_DIR) $(CMAKE_COMMON) -DCMAKE_BUILD_TYPE=Release \
	    -DXTS_BUILD_BENCH=ON -DXTS_BUILD_TESTS=OFF

bench: deps $(BENCH_DIR)/build.ninja
	cmake --build $(BENCH_DIR) -j $(JOBS)
	./$(BENCH_DIR)/bench/xts_bench

format:
	find server tests bench tools -name '*.h' -o -name '*.cpp' | xargs clang-format -i

clean:
	rm -rf $(BUILD_DIR) $(ASAN_DIR) $(BENCH_DIR)
