# The commands of the project. Each works from a bare clone and says what it does.

.PHONY: help demo live live-outputs live-ipmi fleet fleet-bench build test check proof arm abi bench packages lint format clean

help:
	@echo "make demo     build the program, replay a server's day and tell a night's story"
	@echo "make live     run an engine with its page and a server's day at a thousand times its pace; Ctrl-C ends it"
	@echo "make live-outputs  the same, and SNMP, MQTT and Alertmanager are told of the alarms, too; Ctrl-C ends it"
	@echo "make live-ipmi  run a simulated server with IPMI, whose faults come to the page; Ctrl-C ends it"
	@echo "make fleet    run a fleet: a broker of three nodes, a database with a standby, collectors, the page, and 50 simulated controllers; Ctrl-C ends it"
	@echo "make build    build the library and the program"
	@echo "make test     build and run the tests of what the library and the program do"
	@echo "make check    the same, and check formatting, documents, packages, ABI and instruction counts, and run cppcheck"
	@echo "make proof    the long tests: ARM under qemu, sanitizers, fuzzing, clang-tidy, musl"
	@echo "              (continuous integration runs check and proof)"
	@echo ""
	@echo "make arm      build library and program for the controller, test under qemu, measure the footprint"
	@echo "make abi      record the ABI anew, after a change that is meant"
	@echo "make bench    time every filter beside the bare time stamp, the engine with its ledger, the web server and IPMI"
	@echo "make fleet-bench  time a fleet of 2,000 simulated controllers while its parts are killed"
	@echo "make packages make Debian packages for this machine and the controller, in build/packages"
	@echo "make lint     check formatting and run clang-tidy"
	@echo "make cppcheck run cppcheck"
	@echo "make asan     test with the address and undefined-behaviour sanitizers"
	@echo "make fleet-check  test the fleet's programs with a real broker and a real database"
	@echo "make musl     build the library with musl and run a consumer"
	@echo "make valgrind test the release build under valgrind"
	@echo "make soak     run the engine for an hour under load, kills and full disks; as root (MINUTES=3 is shorter)"
	@echo "make fuzz     fuzz the filters, all parsers and the ledger, each for 5 minutes"
	@echo "make coverage report the lines and branches that the tests reach"
	@echo "make mutants  change the sources one cell at a time: the tests must notice"
	@echo "make format   format the sources"
	@echo "make clean    remove everything that was built"

demo: build
	@echo "== Replaying examples/day.jsonl"
	@build/release/bin/polaiga replay examples/day.jsonl
	@echo
	@echo "== The story of a night: examples/night"
	@examples/night build/release/bin/polaiga

live:
	@tools/setup live
	@echo "== Building"
	@cmake --preset release >/dev/null
	@cmake --build --preset release
	@examples/live build/release/bin

live-outputs:
	@tools/setup live-outputs
	@echo "== Building"
	@cmake --preset release >/dev/null
	@cmake --build --preset release
	@examples/live --outputs build/release/bin

live-ipmi:
	@tools/setup live
	@echo "== Building"
	@cmake --preset release >/dev/null
	@cmake --build --preset release
	@examples/live-ipmi build/release/bin

fleet:
	@tools/setup fleet
	@echo "== Building"
	@cmake --preset release >/dev/null
	@cmake --build --preset release
	@examples/fleet build/release/bin

build:
	@tools/setup demo
	@echo "== Building"
	@cmake --preset release >/dev/null
	@cmake --build --preset release

test:
	@tools/setup test
	@echo "== Building with the tests"
	@cmake --preset check >/dev/null
	@cmake --build --preset check
	@echo "== Testing"
	@ctest --preset test

check: format-check
	@tools/setup check
	@echo "== Building with the tests"
	@cmake --preset check >/dev/null
	@cmake --build --preset check
	@echo "== Testing and checking"
	@ctest --preset check
	@$(MAKE) --no-print-directory cppcheck

proof:
	@$(MAKE) --no-print-directory arm asan musl fleet-check
	@$(MAKE) --no-print-directory --jobs 2 --output-sync=target fuzz-check lint

arm:
	@tools/setup proof
	@tools/sysroot build/sysroot
	@echo "== Building for the controller, with the tests"
	@cmake --preset arm >/dev/null
	@cmake --build --preset arm
	@echo "== Testing under qemu"
	@ctest --preset arm
	@echo "== Measuring the footprint"
	@tools/footprint build/arm

# For a change of the ABI that is meant.
abi: build/check/compile_commands.json
	@cmake --build --preset check --target polaiga
	@tools/setup proof
	@tools/sysroot build/sysroot
	@cmake --preset arm >/dev/null
	@cmake --build --preset arm --target polaiga
	@tools/abi-dump build/check/libpolaiga.so >abi/polaiga-x86_64.abi
	@tools/abi-dump build/arm/libpolaiga.so >abi/polaiga-arm.abi

bench:
	@tools/setup check
	@cmake --preset check >/dev/null
	@cmake --build --preset check --target filters_bench engine_bench web_bench polaiga_ipmi_program polaiga_snmp_program polaiga_mqtt_program polaiga_alertmanager_program
	@echo "== Timing every filter beside the bare time stamp"
	@build/check/bench/filters_bench
	@echo "== Timing the engine and its ledger; takes some minutes"
	@build/check/bench/engine_bench
	@echo "== Timing the web server with 1,000 event streams"
	@build/check/bench/web_bench
	@echo "== Timing the source that reads IPMI"
	@python3 bench/ipmi_bench.py build/check/bin/polaiga build/check/bin/polaiga-ipmi
	@echo "== Timing the publisher for Alertmanagers"
	@python3 bench/alertmanager_bench.py build/check/bin/polaiga build/check/bin/polaiga-alertmanager
	@echo "== Timing the publisher that tells an MQTT broker"
	@python3 bench/mqtt_bench.py build/check/bin/polaiga build/check/bin/polaiga-mqtt
	@echo "== Timing the subagent of snmpd"
	@python3 bench/snmp_bench.py build/check/bin/polaiga build/check/bin/polaiga-snmp
	@echo "== Timing the engine beside publishers whose peers hang"
	@python3 bench/outputs_bench.py build/check/bin/polaiga examples/day.jsonl build/check/bin/polaiga-mqtt build/check/bin/polaiga-alertmanager

# Takes half an hour; shorter with: make fleet-bench CONTROLLERS=200
CONTROLLERS = 2000
fleet-bench:
	@tools/setup fleet
	@cmake --preset release >/dev/null
	@cmake --build --preset release
	@echo "== Timing a fleet of $(CONTROLLERS) controllers while its broker, a collector and its database are killed"
	@/usr/bin/python3 -B bench/fleet_bench.py --controllers $(CONTROLLERS) build/release/bin

packages:
	@tools/setup proof
	@$(MAKE) --no-print-directory build
	@tools/sysroot build/sysroot
	@echo "== Building for the controller"
	@cmake -S . -B build/armhf -G Ninja -DCMAKE_BUILD_TYPE=Release --toolchain cmake/arm-linux-gnueabihf.cmake \
	  -DPOLAIGA_SYSROOT=$(CURDIR)/build/sysroot -DPOLAIGA_WEB=OFF -DPOLAIGA_FLEET=OFF >/dev/null
	@cmake --build build/armhf
	@echo "== Packing"
	@rm -rf build/packages
	@for tree in release armhf; do cpack --config build/$$tree/CPackConfig.cmake -B build/packages >/dev/null || exit 1; done
	@rm -rf build/packages/_CPack_Packages
	@tests/packaging/debian_test.sh . build/release cpack
	@tests/packaging/debian_test.sh . build/armhf cpack qemu-arm -L /usr/arm-linux-gnueabihf
	@echo "== Building twice"
	@tests/packaging/reproducible_test.sh . cmake c++ program
	@ls -1 build/packages

lint: format-check
	@tools/setup proof
	@cmake --preset analysis >/dev/null
	@echo "== Analysing with clang-tidy"
	@tools/lint build/analysis

build/check/compile_commands.json:
	@tools/setup check
	@cmake --preset check >/dev/null

format:
	@git ls-files -z '*.c' '*.h' '*.cpp' | xargs -0 clang-format -i

format-check:
	@tools/setup check
	@echo "== Checking the format"
	@git ls-files -z '*.c' '*.h' '*.cpp' | xargs -0 clang-format --dry-run --Werror

clean:
	@rm -rf build

# The heavier proofs that the library holds under any use.
.PHONY: asan cppcheck fleet-check valgrind musl soak fuzz fuzz-check coverage mutants format-check

asan:
	@tools/setup proof
	@echo "== Building with sanitizers"
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan
	@echo "== Testing with sanitizers"
	@ctest --preset asan

musl:
	@tools/setup proof
	@echo "== Building with musl"
	@cmake --preset check >/dev/null
	@ctest --preset musl

# The fleet's programs with a real broker and a real database.
fleet-check:
	@tools/setup proof
	@cmake --preset check >/dev/null
	@cmake --build --preset check
	@echo "== Killing the parts of a fleet"
	@ctest --preset fleet

cppcheck:
	@tools/setup check
	@echo "== Analysing with cppcheck"
	@cppcheck --quiet -j "$$(nproc)" --std=c++20 --language=c++ --enable=warning,performance,portability \
	  --suppress=duplicateAssignExpression \
	  --inline-suppr --error-exitcode=1 \
	  -I include -I src -I engine -I outputs/web -I outputs/common -I outputs/snmp -I outputs/mqtt -I outputs/alertmanager -I sources/ipmi \
	  -I fleet/common -I fleet/collector -I fleet/simulator -I fleet/web src engine outputs sources fleet fuzz

valgrind: export GTEST_BRIEF = 1
valgrind:
	@tools/setup proof
	@cmake --preset check >/dev/null
	@cmake --build --preset check
	@echo "== Testing the release build under valgrind"
	@tools/valgrind build/check

# Shorter with: make soak MINUTES=3
MINUTES = 60
soak: build
	@tools/setup check
	@echo "== Running the engine under load, kills and full disks for $(MINUTES) minutes"
	@python3 -B tools/soak --minutes $(MINUTES) build/release/bin/polaiga

# The seconds are those of each fuzzer; longer with: make fuzz SECONDS_OF_FUZZ=3600
SECONDS_OF_FUZZ = 300
fuzz:
	@tools/fuzz $(SECONDS_OF_FUZZ)

fuzz-check:
	@tools/fuzz 60

coverage:
	@tools/setup coverage
	@echo "== Building with counters"
	@cmake --preset coverage >/dev/null
	@cmake --build --preset coverage
	@find build/coverage -name '*.gcda' -delete
	@ctest --preset coverage
	@gcovr --root . --filter src/ --exclude-throw-branches --exclude-unreachable-branches \
	  --html-details build/coverage/index.html --txt build/coverage/summary.txt --print-summary \
	  --fail-under-line 100 build/coverage
	@echo "== The engine"
	@gcovr --root . --filter engine/ --exclude-throw-branches --exclude-unreachable-branches \
	  --html-details build/coverage/engine.html --txt build/coverage/engine.txt --print-summary \
	  --fail-under-line 95 build/coverage
	@echo "The details are in build/coverage/index.html and engine.html"

# Longer with: make mutants SECONDS_OF_MUTANTS=7200
SECONDS_OF_MUTANTS = 1500
mutants:
	@tools/setup proof
	@tools/mutants --seconds $(SECONDS_OF_MUTANTS)
	@tools/mutants --engine --seconds $(SECONDS_OF_MUTANTS)
