# The one entry point: `make test` and `make run` install what is missing first.
PRESET ?= dev
BUILD_DIR := build/$(PRESET)

.PHONY: all deps configure build test run bench package package-check fuzz clean format

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

# Two Debian packages in build/package, from a release build with Debian's hardening flags:
# qarvexd (the service and its user unit) and qarvex (the desktop application).
package: deps
	@cmake --preset package -DCMAKE_CXX_COMPILER_LAUNCHER=$(shell command -v ccache) >/dev/null
	@cmake --build --preset package
	@cd build/package && rm -f ./*.deb && cpack >/dev/null && ls ./*.deb

# Builds the packages, then lintian (no error, no warning), the desktop entry, the AppStream
# metadata, the manual pages and the hardening of both programs.
package-check: package
	@scripts/package-check build/package

# Runs one libFuzzer target (location, config, lsof, log_preview) for SECONDS, built with clang
# in the fuzz preset. What it learns stays in build/fuzz/corpus/<target>, seeded from
# fuzz/corpus/<target>; an input that breaks a check is written to build/fuzz/findings/.
TARGET ?= location
SECONDS ?= 600
fuzz: deps
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz
	@mkdir -p build/fuzz/corpus/$(TARGET) build/fuzz/findings
	@build/fuzz/fuzz/velquor_fuzz_$(TARGET) -max_total_time=$(SECONDS) \
		-artifact_prefix=build/fuzz/findings/$(TARGET)- \
		$(addprefix -dict=,$(wildcard fuzz/$(TARGET).dict)) \
		build/fuzz/corpus/$(TARGET) fuzz/corpus/$(TARGET)

clean:
	rm -rf build

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i
