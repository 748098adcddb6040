# The daily commands. Everything is built below build/<preset>; `make record` and `make install`
# build the library and its programs there, `make test` all the rest beside them.

INPUT ?= examples/media/bunny.mp4
OUTPUT ?= recording.mp4
ATTRIBUTES ?= video::codec=libx264 video::preset=veryfast
PREFIX ?= /usr/local
JOBS ?= $(shell nproc)

export CCACHE_SLOPPINESS = pch_defines,time_macros

.PHONY: record build all test bench asan tsan clang vpl format format-check lint install uninstall deb \
        packages packages-python packages-test packages-bench packages-lint clean matrix sweep faults fuzz soak mutants crash

record: build
	build/release/bin/xvrecord -y -a "$(ATTRIBUTES)" "$(INPUT)" "$(OUTPUT)"

packages:
	@scripts/install_packages.sh packages

# What the Python package is built with.
packages-python:
	@scripts/install_packages.sh packages packages-python

# What the tests link, and the programs that they talk to.
packages-test:
	@scripts/install_packages.sh packages packages-python packages-test

# Peers that the benchmarks measure against.
packages-bench:
	@scripts/install_packages.sh packages packages-bench

packages-lint:
	@scripts/install_packages.sh packages packages-python packages-test packages-lint

# A new tree has the library and its programs only; each $(call configure,PARTS) adds parts to it
# and takes none away.
parts_off = -DXVWRITER_BUILD_TESTS=OFF -DXVWRITER_BUILD_BENCHMARKS=OFF -DXVWRITER_BUILD_EXAMPLES=OFF \
            -DXVWRITER_BUILD_PYTHON=OFF
parts_all = $(parts_off:OFF=ON)
define configure
	@mkdir -p build
	@cmake --preset release $(if $(wildcard build/release/build.ninja),,$(parts_off)) $(1) \
	  >build/configure.log 2>&1 || { cat build/configure.log; exit 1; }
endef

build: packages
	$(call configure)
	cmake --build --preset release --target library_and_tools -j $(JOBS)

all: packages-test
	$(call configure,$(parts_all))
	cmake --build --preset release -j $(JOBS)

test: all
	ctest --preset release $(CTEST_ARGS)

asan tsan: packages-test
	cmake --preset $@
	cmake --build --preset $@ -j $(JOBS)
	ctest --preset $@ $(CTEST_ARGS)

# With the other compiler, for its warnings.
clang: packages-test
	cmake --preset $@
	cmake --build --preset $@ -j $(JOBS)

# Against the successor of QuickSync's dispatcher.
vpl: packages-test
	@scripts/install_packages.sh packages-vpl
	cmake --preset release -B build/vpl $(parts_off) -DXVWRITER_BUILD_TESTS=ON -DXVWRITER_WITH_VPL=ON
	cmake --build build/vpl --target quicksync_recording_test vendor_test -j $(JOBS)
	ctest --test-dir build/vpl --output-on-failure -R '^(vendor|quicksync_recording)'

bench: packages-bench
	$(call configure,-DXVWRITER_BUILD_BENCHMARKS=ON)
	cmake --build --preset release --target library_and_tools bench/all -j $(JOBS)
	bench/run.sh

# Every container with every codec that it takes, as a table; minutes to an hour.
matrix: all
	build/release/bin/matrix_test --gtest_also_run_disabled_tests

# Every value of every row of the list, in child processes; minutes.
sweep: all
	seq 0 $$(($(JOBS) - 1)) | GTEST_TOTAL_SHARDS=$(JOBS) xargs -P $(JOBS) -I {} env GTEST_SHARD_INDEX={} \
	  build/release/bin/sweep_test --gtest_also_run_disabled_tests --gtest_filter='*Sweep*' --gtest_brief=1

# Every allocation, thread start and file call of some recordings fails once, in child processes; an hour.
faults: all
	seq 0 $$(($(JOBS) - 1)) | GTEST_TOTAL_SHARDS=$(JOBS) xargs -P $(JOBS) -I {} env GTEST_SHARD_INDEX={} \
	  build/release/bin/faults_test --gtest_also_run_disabled_tests --gtest_filter='*DISABLED*' --gtest_brief=1

# Small faults in a scratch copy of the last commit, to see that the tests notice them; an hour or two.
# MUTANTS="--room codec --every 3" or numbers of the list choose some.
mutants: packages-test
	scripts/mutants.py --jobs $(JOBS) $(MUTANTS)

# Recordings that are killed at random moments and rescued; half an hour.
KILLS ?= 1000
crash: all
	tests/crash/kill_recordings.py build/release/bin --kills $(KILLS)

SOURCES = $(shell git ls-files '*.h' '*.hpp' '*.cpp')

format:
	clang-format-14 -i $(SOURCES)

format-check:
	@clang-format-14 --dry-run --Werror $(SOURCES)

FUZZ_SECONDS ?= 60
fuzz: packages-test
	cmake --preset fuzz -DXVWRITER_BUILD_TESTS=ON -DXVWRITER_BUILD_BENCHMARKS=OFF -DXVWRITER_BUILD_EXAMPLES=OFF
	cmake --build --preset fuzz --target fuzz_programs -j $(JOBS)
	FUZZ_SECONDS=$(FUZZ_SECONDS) JOBS=$(JOBS) scripts/fuzz.sh build/fuzz/bin

SOAK_SECONDS ?= 1800
soak: packages-test
	$(call configure,-DXVWRITER_BUILD_TESTS=ON)
	cmake --build --preset release --target soak -j $(JOBS)
	build/release/bin/soak --seconds $(SOAK_SECONDS)

# TIDY=all has clang-tidy read every file, not only those that differ from the main branch.
lint: packages-lint
	$(call configure,$(parts_all))
	JOBS=$(JOBS) scripts/lint.sh $(TIDY)

install: build
	cmake --install build/release --prefix "$(PREFIX)"

uninstall:
	cmake --build --preset release --target uninstall

# Debian packages, into build/package.
deb: packages-python
	cmake --preset package
	cmake --build --preset package --target library_and_tools -j $(JOBS)
	cpack --config build/package/CPackConfig.cmake -B build/package

clean:
	rm -rf build
