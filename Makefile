# The one entry point: `make test` and `make run` install what is missing first.
PRESET ?= dev
BUILD_DIR := build/$(PRESET)

.PHONY: all deps configure build test run clean format

all: build

deps:
	@scripts/install-deps

configure: deps
	@cmake --preset $(PRESET) >/dev/null

build: configure
	@cmake --build --preset $(PRESET)

test: build
	@ctest --preset $(PRESET) --output-on-failure

# Until the desktop application exists, the product is the headless service in the foreground
# (Ctrl-C stops forwarding and exits).
run: build
	@$(BUILD_DIR)/daemon/qarvexd

clean:
	rm -rf build

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i
