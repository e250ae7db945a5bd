# The commands of the project. Each works from a bare clone and says what it does.

.PHONY: help demo build check lint format clean

help:
	@echo "make demo     build the program and replay a server's day"
	@echo "make check    build and run every test, as continuous integration does"
	@echo "make build    build the library and the program"
	@echo "make lint     check formatting and run the static analysers"
	@echo "make format   format the sources"
	@echo "make clean    remove everything that was built"

demo: build
	@echo "== Replaying examples/day.jsonl"
	@build/release/bin/polaiga replay examples/day.jsonl

build:
	@tools/setup demo
	@echo "== Building"
	@cmake --preset release >/dev/null
	@cmake --build --preset release

check:
	@tools/setup check
	@echo "== Building with the tests"
	@cmake --preset check >/dev/null
	@cmake --build --preset check
	@$(MAKE) --no-print-directory lint
	@echo "== Testing"
	@ctest --preset check

lint: build/check/compile_commands.json
	@echo "== Checking the format and analysing"
	@tools/lint build/check

build/check/compile_commands.json:
	@tools/setup check
	@cmake --preset check >/dev/null

format:
	@git ls-files -z '*.c' '*.h' '*.cpp' | xargs -0 clang-format -i

clean:
	@rm -rf build
