# Top-level convenience targets around the CMake build.
#   make        release build of build/zcppc and build/zirdump
#   make demo   build, then run zcppc on the shipped example
#   make check  build and run every test, then all of them again on a build
#               with AddressSanitizer and UndefinedBehaviorSanitizer
#   make bench  time the preprocessor on large generated sources
#   make coverage  line and branch coverage of src/ by the whole suite
# WERROR=1 (as CI sets it) makes every compiler warning an error.  PGO=1
# optimises the release build by a profile of a training run (CMakeLists.txt).

MAKEFLAGS += --no-print-directory
JOBS ?= 2
BUILD := build
ASAN_BUILD := build-asan
# Passed on every configure, so that a build made once with WERROR=1 does not
# keep -Werror in its cache afterwards.
CONFIGURE := -DZCPPC_WERROR=$(if $(filter 1,$(WERROR)),ON,OFF) \
             -DZCPPC_PGO=$(if $(filter 1,$(PGO)),ON,OFF)

.PHONY: all demo check bench coverage clean

all:
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CONFIGURE) >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)

demo: all
	@sh examples/demo.sh $(BUILD)

check: all
	@cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DZCPPC_SANITIZE=ON $(CONFIGURE) >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	@sh tests/run_all.sh $(BUILD) $(ASAN_BUILD) $(JOBS)

bench: all
	@sh tools/bench.sh $(BUILD)

coverage:
	@sh tools/coverage.sh build-coverage

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) build-coverage
