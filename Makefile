# The front door: `make run` and `make test` set up a fresh Debian machine,
# build, and start the program or run the whole test suite.

BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
# Warnings fail the build in CI.
WERROR ?= $(if $(CI),ON,OFF)
JOBS ?= $(shell nproc)

.PHONY: all deps configure build run test bench coverage clean

all: build

deps:
	@scripts/install-deps.sh

configure: deps
	cmake -S . -B $(BUILD_DIR) -G Ninja \
	    -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) \
	    -DCMAKE_CXX_COMPILER_LAUNCHER=ccache \
	    -DVORLIK_WERROR=$(WERROR)

build: configure
	cmake --build $(BUILD_DIR) -j $(JOBS)

# Starts the program on the current display, or, with none, inside a private
# X server (then only screenshots show it).
run: build
	@if [ -n "$$DISPLAY" ]; then \
	    $(BUILD_DIR)/bin/vorlik; \
	else \
	    echo "no DISPLAY: starting vorlik inside Xvfb with openbox"; \
	    scripts/x-session.sh $(BUILD_DIR)/bin/vorlik; \
	fi

# Logic tests run offscreen; clipboard, window and key tests need the X
# server that x-session.sh provides. Every test runs once.
test: build
	scripts/x-session.sh ctest --test-dir $(BUILD_DIR) --output-on-failure --timeout 300 -j $(JOBS)

bench: build
	scripts/x-session.sh scripts/run-benchmarks.sh $(BUILD_DIR)

# An instrumented build of its own runs the whole suite once and prints the
# line and branch coverage of src/; the report per file lands in
# $(COVERAGE_DIR)/coverage.txt.
COVERAGE_DIR ?= build-coverage
coverage:
	@scripts/install-deps.sh coverage
	cmake -S . -B $(COVERAGE_DIR) -G Ninja \
	    -DCMAKE_BUILD_TYPE=Debug \
	    -DCMAKE_CXX_COMPILER_LAUNCHER=ccache \
	    -DVORLIK_COVERAGE=ON -DVORLIK_BUILD_BENCH=OFF \
	    -DVORLIK_WERROR=$(WERROR)
	cmake --build $(COVERAGE_DIR) -j $(JOBS)
	find $(COVERAGE_DIR) -name '*.gcda' -delete
	scripts/x-session.sh ctest --test-dir $(COVERAGE_DIR) --output-on-failure --timeout 300 -j $(JOBS)
	gcovr --root . --object-directory $(COVERAGE_DIR) --filter 'src/' \
	    --exclude-throw-branches --exclude-unreachable-branches \
	    --output $(COVERAGE_DIR)/coverage.txt --print-summary $(COVERAGE_DIR)

clean:
	rm -rf $(BUILD_DIR) $(COVERAGE_DIR)
