# Everything that is done with this project, from a fresh checkout on Debian on.
# "make help" lists the targets.

SHELL := /bin/bash
JOBS ?= $(shell nproc)
ARGS ?=

FOLDERS := $(wildcard bench canopen device_description examples include monitor panel runtime tests tools)
SOURCES = find $(FOLDERS) -name node_modules -prune -o \( -name '*.h' -o -name '*.cpp' \) -print0

# $(call timed,NAME,COMMAND) runs a step of a recipe and says how long it took.
timed = @start=$$SECONDS; ( $(2) ) || exit; echo "== $(1): $$((SECONDS - start)) s"

# $(call build,PRESET,TARGET,OPTIONS) configures a preset when that was not done yet, and builds with it.
build = { [ -f build/$(1)/build.ninja ] || cmake --preset $(1) $(3); } && cmake --build build/$(1) -j $(JOBS) --target $(2)

# $(call run-tests,PRESET): clients that others wrote talk to the panel over loopback, in real time, so that what fails
# there is repeated once. Nothing else is.
define run-tests
@echo "== clients of others over loopback: what fails is repeated once"
@ctest --preset $(1) -j $(JOBS) -R '^interop[.]' --repeat until-pass:2
@echo "== all other tests"
@ctest --preset $(1) -j $(JOBS) -E '^interop[.]'
endef

.PHONY: help run test test-page pictures page-load packages test-packages sub-projects test-fresh model test-metrics test-armhf test-target soak-target bench bench-check bench-update bench-growth bench-target overload conformance reference format format-check tidy tidy-tests soak coverage mutants trust sanitize thread-sanitize valgrind fuzz fuzz-smoke clean

help:
	@echo "make run [ARGS='--node-id 6']  build tavo-panel and start it here"
	@echo "make test [PRESET=clang]       build everything and run all tests"
	@echo "make test-page                 the page in a browser without a window: each element found and used"
	@echo "make pictures                  take the pictures of the page anew, docs/pictures"
	@echo "make page-load                 how late the node is with a page open, 50 values and 2000 frames a second"
	@echo "make test-metrics              Debian's prometheus collects from ten panels, one of which is killed and comes back"
	@echo "make test-armhf                the tests of units and nodes as 32-bit ARM programs, under user-mode emulation"
	@echo "make test-target               the tests on an emulated machine with a kernel's CAN interfaces"
	@echo "make soak-target [TAVO_SOAK_HOURS=24]  two panels on that machine for a day of its time, with everything going wrong"
	@echo "make packages                  Debian packages for this machine and for armhf: build/packages*/packages"
	@echo "make test-packages             install them where nothing else is, and build and run the examples there"
	@echo "make test-fresh                make run and make test of a fresh clone in a Debian that has git and make"
	@echo "make sub-projects              the libraries as part of another project: both compilers, every level of optimisation, no warning"
	@echo "make bench                     count what a node costs: instructions, system calls, allocations, memory"
	@echo "make bench-check               fail when that is more than the last figures, bench/figures.json, say"
	@echo "make bench-update              the same count, written to that file"
	@echo "make bench-growth              draw how it grows with PDOs, consumers, variables and nodes"
	@echo "make bench-target              times and processor shares measured on that machine"
	@echo "make overload                  what clients that flood the served bus do to the others, as a table"
	@echo "make reference                 the reference of the headers, build/reference/html; fails when something has no comment"
	@echo "make conformance               what clients of others find of CiA 301, service by service; goes into docs/conformance.md"
	@echo "make format, format-check      apply clang-format; or look whether it would change anything"
	@echo "make tidy, tidy-tests          run clang-tidy over the sources; or over the tests, with a few checks"
	@echo "make sanitize                  all tests but the one of a minute under the address and undefined behaviour sanitizers"
	@echo "make thread-sanitize           the tests of whole nodes and of SDO under the thread sanitizer"
	@echo "make model [SEQUENCES=1000000] compare the node with the models of its parts over that many random sequences each"
	@echo "make soak [SEED=1 DAYS=30]     random tests with a fresh seed; a network for a month, ten thousand lives of a node"
	@echo "make fuzz [SECONDS=60] [TARGET=stream]  try new inputs for that long for each target, or for one"
	@echo "make fuzz-smoke                the inputs that are kept, and the same few thousand more every time"
	@echo "make valgrind                  the tests of whole nodes under valgrind: nothing uninitialised, nothing lost"
	@echo "make coverage                  which lines and branches of the stack its tests reach"
	@echo "make mutants [COUNT=400]       which changes of the sources, made on purpose, the tests notice"
	@echo "make trust                     all of these at length; the counts go into docs/trust.md"
	@echo "make clean                     remove everything that was built"

# The panel is started here, so that files named in ARGS are found, and leaves the DCFs of its node here. Only its own
# lines are on standard output. exec: its exit status is that of the recipe.
run:
	@scripts/setup.sh run >&2
	@( $(call build,release,tavo-panel tavo-trace,-DTAVO_BUILD_TESTS=OFF) ) >&2
	@exec build/release/bin/tavo-panel $(ARGS)

# PRESET=release, clang or clang-debug: with optimisation, with clang++, or both.
PRESET ?= debug

test:
	@scripts/setup.sh test $(if $(findstring clang,$(PRESET)),check)
	@# "make run" configures the release without them.
	@[ $(PRESET) != release ] || cmake --preset release -DTAVO_BUILD_TESTS=ON >/dev/null
	$(call timed,build,$(call build,$(PRESET),all))
	$(call run-tests,$(PRESET))

# The page is part of the program, and the program tested is the one of the debug build, as in "make test".
test-page:
	@scripts/setup.sh page
	$(call timed,build,$(call build,$(PRESET),tavo-panel))
	$(call timed,page,TAVO_PANEL=$(CURDIR)/build/$(PRESET)/bin/tavo-panel node --test tests/page/*.test.js)

pictures page-load:
	@scripts/setup.sh page >&2
	@( $(call build,release,tavo-panel,-DTAVO_BUILD_TESTS=OFF) ) >&2
	@TAVO_PANEL=$(CURDIR)/build/release/bin/tavo-panel node tests/page/$(@:page-%=%).js $(if $(findstring pictures,$@),docs/pictures,$(ARGS))

packages:
	@scripts/setup.sh packages armhf
	$(call timed,packages for this machine,$(call build,packages,all) && cmake --build build/packages --target package)
	$(call timed,packages for armhf,$(call build,packages-armhf,all) && cmake --build build/packages-armhf --target package)
	$(call timed,those for armhf tried,tests/install/run armhf build/packages-armhf arm-linux-gnueabihf-g++)

# The libraries twelve times, in a folder of another project.
sub-projects:
	@scripts/setup.sh packages check
	@for compiler in g++ clang++; do JOBS=$(JOBS) tests/install/run sub_project . $$compiler || exit; done

test-packages:
	@scripts/setup.sh packages
	$(call timed,packages,$(call build,packages,all) && cmake --build build/packages --target package)
	$(call timed,an empty Debian,tests/install/empty-root build/packages/packages)

# "make run" and "make test" as on a machine that has never seen this project.
test-fresh:
	@scripts/setup.sh packages
	$(call timed,fresh clone,tests/install/fresh-clone)

test-metrics:
	@scripts/setup.sh test metrics
	$(call timed,build,$(call build,debug,tavo-panel))
	$(call timed,Prometheus with ten panels,cd tests/metrics && TAVO_PANEL=$(CURDIR)/build/debug/bin/tavo-panel \
	  PYTHONPATH=$(CURDIR)/tests/interop/python PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 -m unittest test_prometheus)

# The tables are all that goes to standard output.
bench bench-update:
	@scripts/setup.sh bench >&2
	@( $(call build,bench,all) ) >&2
	@JOBS=$(JOBS) bench/run $(if $(findstring update,$@),--update) build/bench

bench-check:
	@scripts/setup.sh bench
	$(call timed,build for bench,$(call build,bench,tavo-bench tavo-turn kqapi_canopen_plain))
	$(call timed,bench-check,JOBS=$(JOBS) bench/run --check build/bench)

bench-growth:
	@scripts/setup.sh bench
	@$(call build,bench,tavo-bench)
	@JOBS=$(JOBS) bench/growth build/bench docs/benchmarks-growth.svg

# ARMHF=armhf-clang and so on: another preset of the same kind.
ARMHF ?= armhf

test-armhf:
	@scripts/setup.sh armhf $(if $(findstring clang,$(ARMHF)),check)
	$(call timed,build for $(ARMHF),$(call build,$(ARMHF),all))
	@ctest --preset $(ARMHF) -j $(JOBS)

test-target:
	$(call timed,packages,scripts/setup.sh target)
	$(call timed,build for armhf,$(call build,armhf,canlink target_tests tavo-panel))
	$(call timed,emulated machine,tests/target/run test)

# A day takes half an hour of a computer that has nothing else to do.
TAVO_SOAK_HOURS ?= 24
soak-target:
	@scripts/setup.sh target
	$(call timed,build for armhf,$(call build,armhf,canlink target-soak tavo-panel))
	$(call timed,soak-target,tests/target/run soak $(TAVO_SOAK_HOURS))

bench-target:
	@scripts/setup.sh target
	$(call timed,build for armhf,$(call build,armhf,canlink target-bench tavo-panel))
	@tests/target/run bench

# With ARGS=--check it fails when the others have to wait more than twice as long.
overload:
	@scripts/setup.sh test >&2
	@( $(call build,release,tavo-panel tavo-trace,-DTAVO_BUILD_TESTS=OFF) ) >&2
	@TAVO_PANEL=$(CURDIR)/build/release/bin/tavo-panel /usr/bin/python3 tests/interop/python/overload.py --rounds 5 $(ARGS)

reference:
	@scripts/setup.sh reference
	$(call timed,reference,mkdir -p build/reference && TAVO_REFERENCE=build/reference doxygen docs/reference/Doxyfile)

# The table is all that goes to standard output.
conformance:
	@scripts/setup.sh test >&2
	@( $(call build,release,tavo-panel,-DTAVO_BUILD_TESTS=OFF) ) >&2
	@TAVO_PANEL=$(CURDIR)/build/release/bin/tavo-panel /usr/bin/python3 tests/interop/python/conformance.py --write $(ARGS)

format:
	@scripts/setup.sh check
	@$(SOURCES) | xargs -0 clang-format -i

format-check:
	@scripts/setup.sh check
	$(call timed,format-check,$(SOURCES) | xargs -0 clang-format --dry-run --Werror)

# $(call clang-tidy,PRESET,FOLDERS) over what a configuration for clang++, all of whose flags it understands, has of these.
clang-tidy = run-clang-tidy -quiet -p build/$(1) -j $(JOBS) '^$(subst +,\+,$(CURDIR))/($(2))/' >build/$(1)/report.txt 2>&1 || \
  { grep -E 'warning:|error:' -A 3 build/$(1)/report.txt; exit 1; }

tidy:
	@scripts/setup.sh run bench check
	@[ -f build/tidy/build.ninja ] || cmake --preset tidy
	$(call timed,tidy,$(call clang-tidy,tidy,bench|canopen|device_description|monitor|panel|runtime|tools))

# With the checks of tests/.clang-tidy. The test framework is read once for all tests.
tidy-tests:
	@scripts/setup.sh run test check
	@[ -f build/tidy-tests/build.ninja ] || cmake --preset tidy-tests
	@cmake --build build/tidy-tests --target tests/CMakeFiles/test_support.dir/cmake_pch.hxx.pch
	$(call timed,tidy-tests,$(call clang-tidy,tidy-tests,tests))

# Fresh random numbers, which are printed; SEED=... takes others. Drawn once, since each use of a variable would do so.
ifndef SEED
SEED := $(shell od -An -N4 -tu4 /dev/urandom | tr -d ' ')
endif
SEQUENCES ?= 1000000

# Each model is a process of its own.
model:
	@scripts/setup.sh test
	@cmake --preset release -DTAVO_BUILD_TESTS=ON >/dev/null
	$(call timed,build,$(call build,release,model_tests))
	@echo "== SEED=$(SEED) SEQUENCES=$(SEQUENCES)"
	@build/release/bin/model_tests --gtest_list_tests | sed -n 's/\.$$/.*/p' | \
	  TAVO_TEST_SEED=$(SEED) TAVO_MODEL_SEQUENCES=$(SEQUENCES) \
	  xargs -P $(JOBS) -I SUITE build/release/bin/model_tests --gtest_brief=1 --gtest_filter=SUITE

# DAYS, LIVES and SYNCS: how much of what is not random.
DAYS ?= 30
LIVES ?= 10000
SYNCS ?= 1000
soak: model
	@scripts/setup.sh bench test
	@cmake --preset release -DTAVO_BUILD_TESTS=ON >/dev/null
	$(call timed,build for soak,$(call build,release,all))
	@echo "== SEED=$(SEED)"
	@TAVO_TEST_SEED=$(SEED) TAVO_TEST_OPERATIONS=1000000 TAVO_SOAK_DAYS=$(DAYS) TAVO_SOAK_LIVES=$(LIVES) \
	  TAVO_SOAK_SYNCS=$(SYNCS) ctest --preset release -j $(JOBS) --timeout 3600 -R 'Random|Robustness|Packing|MappingObject|^soak[.]'

# Threads and long random runs are left to the sanitizers, which are quicker.
valgrind:
	@scripts/setup.sh test bench
	$(call timed,build,$(call build,debug,node_tests))
	$(call timed,valgrind,valgrind --quiet --fair-sched=yes --leak-check=full --error-exitcode=9 build/debug/bin/node_tests \
	  --gtest_brief=1 --gtest_filter='-*Random*:*Robustness*:*Threads*')

# Every program of tests writes to the same counts, so that they are run one after the other.
coverage:
	@scripts/setup.sh test coverage
	$(call timed,build for coverage,$(call build,coverage,unit_tests node_tests soak_tests))
	@find build/coverage -name '*.gcda' -delete
	@for program in unit_tests node_tests soak_tests; do build/coverage/bin/$$program --gtest_brief=1 >build/coverage/$$program.log 2>&1 || \
	  { tail -n 20 build/coverage/$$program.log; exit 1; }; done
	@gcovr --root . --object-directory build/coverage --filter canopen/ --exclude-throw-branches --exclude-unreachable-branches \
	  --print-summary

# COUNT=0: all of them, which takes a day.
COUNT ?= 400
mutants:
	@scripts/setup.sh test
	$(call timed,build,$(call build,debug,unit_tests node_tests model_tests))
	@scripts/mutants --count $(COUNT) --seed $(SEED) --jobs $(JOBS) build/debug

trust:
	@scripts/setup.sh test fuzz coverage
	@scripts/trust

sanitize:
	@scripts/setup.sh test
	$(call timed,build for sanitize,$(call build,sanitize,all))
	$(call run-tests,sanitize)

thread-sanitize:
	@scripts/setup.sh test
	$(call timed,build for thread-sanitize,$(call build,thread-sanitize,node_tests unit_tests))
	@ctest --preset thread-sanitize -R '^(node|unit)[.]' -E 'Linkage|Imports|Documents' -j $(JOBS)

# SECONDS is a variable of the shell as well, which begins with what stands here.
fuzz: SECONDS ?= 60
fuzz:
	@scripts/setup.sh fuzz
	$(call timed,build for fuzz,$(call build,fuzz,fuzz_targets))
	@tests/fuzz/run --jobs $(JOBS) long $(SECONDS) $(TARGET)

fuzz-smoke:
	@scripts/setup.sh fuzz
	$(call timed,build for fuzz,$(call build,fuzz,fuzz_targets))
	$(call timed,fuzz-smoke,tests/fuzz/run --jobs $(JOBS) smoke)

clean:
	@rm -rf build
