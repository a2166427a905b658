# The one entry point: `make test` and `make run` install what is missing first.
PRESET ?= dev
BUILD_DIR := build/$(PRESET)

.PHONY: all deps configure build test run bench package clean format

all: build

deps:
	@scripts/install-deps

configure: deps
	@cmake --preset $(PRESET) >/dev/null

build: configure
	@cmake --build --preset $(PRESET)

test: build
	@ctest --preset $(PRESET) --output-on-failure

# On a desktop, the application with its tray icon and window; without a display (a server, an
# ssh session), the headless service in the foreground, where Ctrl-C stops forwarding and exits.
run: build
	@if [ -n "$$DISPLAY$$WAYLAND_DISPLAY" ]; then \
		exec $(BUILD_DIR)/VelquorApp/qarvex; \
	else \
		echo "No display: running the headless service qarvexd (Ctrl-C stops it)."; \
		exec $(BUILD_DIR)/daemon/qarvexd; \
	fi

# Prints the benchmark table; needs root for tgtd.
bench: build
	@$(BUILD_DIR)/bench/velquor_bench

# A Debian package of the programs, the desktop entry, the icon and the user unit.
package: build
	@cd $(BUILD_DIR) && cpack

clean:
	rm -rf build

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i
