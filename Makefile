# The daily commands. Everything is built below build/<preset>.

INPUT ?= examples/media/bunny.mp4
OUTPUT ?= recording.mp4
ATTRIBUTES ?= video::codec=libx264 video::preset=veryfast
PREFIX ?= /usr/local
JOBS ?= $(shell nproc)

export CCACHE_SLOPPINESS = pch_defines,time_macros

.PHONY: record build test bench asan tsan format format-check lint install packages packages-test \
        packages-bench clean matrix fuzz

record: build
	build/release/bin/xvrecord -a "$(ATTRIBUTES)" "$(INPUT)" "$(OUTPUT)"

packages:
	@scripts/install_packages.sh packages

# Peers that the streaming tests talk to.
packages-test:
	@scripts/install_packages.sh packages packages-test

# Peers that the benchmarks measure against.
packages-bench:
	@scripts/install_packages.sh packages packages-bench

build: packages
	@cmake --preset release >build-configure.log 2>&1 || { cat build-configure.log; exit 1; }
	@rm -f build-configure.log
	cmake --build --preset release -j $(JOBS)

test: packages-test build
	ctest --preset release

asan tsan: packages-test
	cmake --preset $@
	cmake --build --preset $@ -j $(JOBS)
	ctest --preset $@ $(CTEST_ARGS)

bench: packages-bench build
	bench/run.sh

# Every container with every codec that it takes, as a table; minutes to an hour.
matrix: build
	build/release/bin/matrix_test --gtest_also_run_disabled_tests

SOURCES = $(shell git ls-files '*.h' '*.hpp' '*.cpp')

format:
	clang-format-14 -i $(SOURCES)

format-check:
	@clang-format-14 --dry-run --Werror $(SOURCES)

FUZZ_SECONDS ?= 60
fuzz: build
	cmake --build --preset release --target captions_fuzz picture_fuzz -j $(JOBS)
	for f in caption_pairs insert_offset anc_reader picture_conversion; do \
	  build/release/bin/fuzz_$$f -max_total_time=$(FUZZ_SECONDS) -max_len=65536 -verbosity=0 || exit 1; done

lint: packages
	scripts/lint.sh

install: build
	cmake --install build/release --prefix "$(PREFIX)"

clean:
	rm -rf build
