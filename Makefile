# One entry point for building, running, testing and measuring verdanium.
BUILD_DIR := build
BIN_DIR   := $(BUILD_DIR)/bin/release
# -noreset: by default Xvfb resets itself whenever its last client leaves, and a
# test that connects during the reset fails with "cannot open the display".
XVFB      := xvfb-run -a -s "-screen 0 1280x1024x24 -noreset"

.PHONY: all deps configure build run test bench clean format

all: build

deps:
	@./scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null

build: configure
	@cmake --build $(BUILD_DIR)

# The display is checked before the build, so that a machine without one is told
# at once rather than after a full build.
run:
	@if [ -z "$$DISPLAY" ]; then \
	  echo "verdanium needs an X display, and DISPLAY is not set." >&2; \
	  echo "Run it from a desktop session, or under a virtual one: xvfb-run -a make run" >&2; \
	  exit 1; \
	fi
	@$(MAKE) --no-print-directory build
	@cd $(BIN_DIR) && ./verdanium

test: build
	@$(XVFB) ctest --test-dir $(BUILD_DIR) --output-on-failure -j2

# The mesh hierarchy against Embree first, then the frames and the world steps.
bench: build
	@cd $(BIN_DIR) && ./bvh_bench && $(XVFB) ./verdanium-bench

clean:
	@rm -rf $(BUILD_DIR)

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i
