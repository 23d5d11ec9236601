# One entry point for building, running, testing and measuring verdanium.
BUILD_DIR := build
BIN_DIR   := $(BUILD_DIR)/bin/release
# -noreset: by default Xvfb resets itself whenever its last client leaves, and a
# test that connects during the reset fails with "cannot open the display".
XVFB      := xvfb-run -a -s "-screen 0 1280x1024x24 -noreset"

.PHONY: all deps configure build run test bench convergence clean format

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

# Error against time of both intersectors on one and two threads, each run for the same time, measured
# against a reference of the default scene paused at 10 s. The reference renders ten times as long as a run,
# with the settings that are fastest on an idle machine, so that it gathers several times the samples of any
# run (about seven times the best run's on a busy one) and its own error adds under a tenth to theirs at the
# end. 320 x 240, a quarter of the window, keeps that affordable on a shared machine: the ratio of the times,
# not the size, sets what the reference costs, and a run at this size still gets fifty to a hundred frames.
CONVERGENCE_DIR     := $(BUILD_DIR)/convergence
CONVERGENCE_SECONDS ?= 12
CONVERGENCE_SCENE   := --mode 0 --time 10 --width 320 --height 240
convergence: build
	@mkdir -p $(CONVERGENCE_DIR)
	@out=$$(realpath $(CONVERGENCE_DIR)) && cd $(BIN_DIR) && \
	./verdanium-render $(CONVERGENCE_SCENE) --intersector 1 --threads 2 --frames 1000000 \
	  --max-seconds $$(( 10 * $(CONVERGENCE_SECONDS) )) --output $$out/reference.png --exr $$out/reference.exr \
	  | grep '^rendered' && \
	for intersector in 0 1; do for threads in 1 2; do \
	  ./verdanium-render $(CONVERGENCE_SCENE) --intersector $$intersector --threads $$threads \
	    --frames 1000000 --max-seconds $(CONVERGENCE_SECONDS) --output $$out/run.png \
	    --reference $$out/reference.exr --convergence $$out/intersector$$intersector-threads$$threads.csv \
	    | grep '^rendered' || exit 1; \
	done; done
	@./scripts/plot-convergence $(CONVERGENCE_DIR)/intersector*-threads*.csv --output $(CONVERGENCE_DIR)/convergence.png \
	  --title "default scene paused at 10 s, path tracing, 320 x 240, $(CONVERGENCE_SECONDS) s per run"

clean:
	@rm -rf $(BUILD_DIR)

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i
