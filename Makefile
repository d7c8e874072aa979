# Everyday commands. `make help` lists them.
PYTHON ?= /usr/bin/python3
BUILD_JOBS ?= $(shell nproc)
STATE := $(CURDIR)/build/demo-host.db

.PHONY: bench bench-host build build-debug build-sanitize build-tests clean counted deb demo docs format fuzz help \
  lint packages pictures soak test test-breaks test-everything test-memory test-random test-sanitize test-valgrind

help: ## print this list
	@grep -E '^[a-z-]+:.*## ' $(MAKEFILE_LIST) | sed -E 's/^([a-z-]+):.*## (.*)/  make \1\t\2/' | expand -t 24

# What is missing of the README's packages for a command, beyond those that everything needs.
install = @tools/install_packages README.md $(1)
# $(1): the preset. $(2): what is said to CMake about the tests. They are configured for the first command that needs
# them, and stay: a test once built is not thrown away by `make demo`.
configure = @cmake --preset $(1) -DPYTHON=$(PYTHON) $(2) > build.log 2>&1 || { cat build.log; exit 1; }
without_tests = $(if $(wildcard build/CMakeCache.txt),,-DVSWITCHPY_TESTS=OFF)
with_tests = -DVSWITCHPY_TESTS=ON

packages: ## install the Debian packages that any of these commands needs (the list is the README's)
	$(call install,test test-everything test-breaks fuzz lint docs bench deb)

build: ## build the module and the simulated host (build/python, build/host)
	$(call install)
	$(call configure,release,$(without_tests))
	@cmake --build --preset release -j $(BUILD_JOBS) --target product

build-tests:
	$(call install,test)
	$(call configure,release,$(with_tests))
	@cmake --build --preset release -j $(BUILD_JOBS)

build-debug: ## the same and the tests, not optimised (build-debug/)
	$(call install,test)
	$(call configure,debug,$(with_tests))
	@cmake --build --preset debug -j $(BUILD_JOBS)

build-sanitize: ## the same and the tests, with sanitizers (build-sanitize/)
	$(call install,test)
	$(call configure,sanitize,$(with_tests))
	@cmake --build --preset sanitize -j $(BUILD_JOBS)

demo: build ## build, then set up a switch and list what there is on the simulated host
	@for script in set_up inventory; do \
	  PYTHONPATH=build/python VSWITCH_HOST=$(STATE) $(PYTHON) examples/vswitch/$$script.py || exit 1; done

test: build-tests ## build, then run the whole test suite
	@PYTHON=$(PYTHON) tools/run_tests build

test-sanitize: build-sanitize ## the whole test suite under address and undefined behaviour sanitizers
	@PYTHON=$(PYTHON) tools/run_tests build-sanitize

fuzz: ## fuzz the host's readers, FUZZ_SECONDS (600) each
	$(call install,fuzz)
	$(call configure,fuzz)
	@cmake --build --preset fuzz -j $(BUILD_JOBS)
	@tools/fuzz

test-breaks: ## break the sources as tests/breaks lists, see each break caught (ARGUMENTS: see tools/test_breaks.py)
	$(call install,test test-breaks)
	@PYTHON=$(PYTHON) $(PYTHON) tools/test_breaks.py $(ARGUMENTS)

# VSWITCHPY_FULL: every sweep in full, where `make test` takes a sample.
counted: build-tests
	$(call install,test test-everything)
	@cmake --build --preset release -j $(BUILD_JOBS) --target counted

test-everything: counted ## the whole test suite with every sweep in full
	@PYTHON=$(PYTHON) VSWITCHPY_FULL=1 tools/run_tests build -rsP --durations=20

test-random: build-tests ## of these, the abort storms and random calls
	@VSWITCHPY_FULL=1 $(PYTHON) -m pytest -q -s tests/reliability/test_abort_storms.py \
	  tests/reliability/test_random_calls.py

test-memory: counted ## of these, every failing allocation, and references at length
	@VSWITCHPY_FULL=1 $(PYTHON) -m pytest -q -s tests/reliability/test_failing_allocations.py \
	  tests/reliability/test_references.py

test-valgrind: build-tests ## of these, every operation under valgrind
	@VSWITCHPY_FULL=1 $(PYTHON) -m pytest -q tests/reliability/test_valgrind.py

soak: build-tests ## of these, 200 killed writers of the simulated host, and 16 processes that load it for a minute
	@VSWITCHPY_FULL=1 VSWITCHPY_LOAD_REPORT=build/load.json \
	  $(PYTHON) -m pytest -q tests/simulated_host/test_crashes.py tests/reliability/test_load.py

docs: build ## build the manual (build/manual)
	$(call install,docs)
	@$(PYTHON) tools/make_manual.py build

pictures: build ## draw the pictures of the README (docs/pictures)
	$(call install,docs)
	@$(PYTHON) tools/make_pictures.py build

deb: build ## make the Debian packages (build/packages)
	$(call install,deb)
	@cpack --config build/CPackConfig.cmake

bench: build ## measure the module beside SWIG-generated peers, and the objects (build/bench-*.json)
	$(call install,bench)
	@cmake --build --preset release --target bench_module
	@$(PYTHON) bench/module/measure_module.py build/bench/module --json build/bench-module.json
	@PYTHONPATH=build/python $(PYTHON) bench/vswitch.py --folder build --json build/bench-vswitch.json

bench-host: build ## measure the simulated host and frames (build/bench-host.json, -forwarding, -frames, -simulated)
	@cmake --build --preset release --target measure_host measure_forwarding measure_frames
	@build/bench/host/measure_host build/bench-host.json
	@build/bench/host/measure_forwarding build/bench-forwarding.json
	@build/bench/host/measure_frames build/bench-frames.json
	@PYTHONPATH=build/python $(PYTHON) bench/host/measure_simulated.py build/bench-simulated.json --folder build

format: ## format all C and C++ sources
	$(call install,lint)
	@git ls-files '*.cpp' '*.hpp' '*.h' | xargs clang-format -i

lint: ## check formatting and run clang-tidy on what has changed since it was clean
	$(call install,test lint)
	$(call configure,release,$(with_tests))
	@cmake --build --preset release -j $(BUILD_JOBS) --target generated
	@$(PYTHON) tools/lint.py build

clean: ## remove everything that was built
	@rm -rf build build-debug build-sanitize build-fuzz build-breaks build.log
