# One entry point for building, running, testing and measuring verdanium.
BUILD_DIR := build
BIN_DIR   := $(BUILD_DIR)/bin/release
# -noreset: by default Xvfb resets itself whenever its last client leaves, and a
# test that connects during the reset fails with "cannot open the display".
XVFB      := xvfb-run -a -s "-screen 0 1280x1024x24 -noreset"

# Sanitizer and fuzz builds, each in a folder of its own in the repository root
# (the program finds its data three levels above its folder).
ASAN_DIR  := build-asan
TSAN_DIR  := build-tsan
FUZZ_DIR  := build-fuzz
FUZZ_BIN  := $(FUZZ_DIR)/bin/relwithdebinfo
# How long fuzz-run gives each target; longer runs: make fuzz-run FUZZ_SECONDS=900
FUZZ_SECONDS ?= 60
# The groups of tests that run work on more than one thread.
THREADED_GROUPS := foundation|tracer|raster|app

.PHONY: all deps configure build run test test-asan test-tsan fuzz fuzz-run bench convergence clean format

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

# The whole suite under AddressSanitizer and UndefinedBehaviorSanitizer, with
# the options and suppressions (tests/sanitizers) given here. The data tree
# comes from the ordinary build.
test-asan: build
	@cmake -S . -B $(ASAN_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVERDANIUM_SANITIZER=address >/dev/null
	@cmake --build $(ASAN_DIR)
	@ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1 \
	 LSAN_OPTIONS=suppressions=$(CURDIR)/tests/sanitizers/leak.supp:print_suppressions=0 \
	 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	 $(XVFB) ctest --test-dir $(ASAN_DIR) --output-on-failure -j2

# The threaded tests under ThreadSanitizer; only their programs are built.
test-tsan: build
	@cmake -S . -B $(TSAN_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVERDANIUM_SANITIZER=thread >/dev/null
	@cmake --build $(TSAN_DIR) --target verdanium $(patsubst %,tests_%,$(subst |, ,$(THREADED_GROUPS)))
	@TSAN_OPTIONS=suppressions=$(CURDIR)/tests/sanitizers/thread.supp:halt_on_error=1:print_suppressions=0 \
	 $(XVFB) ctest --test-dir $(TSAN_DIR) --output-on-failure -j2 -L '^($(THREADED_GROUPS))$$'

# The libFuzzer targets of the two file readers (clang), and their seeds, made
# from the generated data tree.
fuzz: build
	@CC=clang CXX=clang++ cmake -S . -B $(FUZZ_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVERDANIUM_FUZZ=ON >/dev/null
	@cmake --build $(FUZZ_DIR) --target fuzz_obj_reader fuzz_image_file
	@rm -rf $(FUZZ_DIR)/seeds && tools/fuzz/make-seeds data $(FUZZ_DIR)/seeds

# Runs each target for FUZZ_SECONDS, growing a corpus in $(FUZZ_DIR)/corpus
# (the image reader's messages for every input are silenced; the OBJ target's
# child hands its output to the parent, which shows it only for a crash);
# the log is $(FUZZ_DIR)/<target>.log, and a crashing input is kept as
# $(FUZZ_DIR)/crash-<target>-*.
fuzz-run: fuzz
	@for target in obj_reader image_file; do \
	  mkdir -p $(FUZZ_DIR)/corpus/$$target; \
	  echo "fuzzing the $$target target for $(FUZZ_SECONDS) s"; \
	  mask=0; [ $$target = image_file ] && mask=2; \
	  $(FUZZ_BIN)/fuzz_$$target -max_total_time=$(FUZZ_SECONDS) -timeout=30 -close_fd_mask=$$mask -print_final_stats=1 \
	    -artifact_prefix=$(FUZZ_DIR)/crash-$$target- $(FUZZ_DIR)/corpus/$$target $(FUZZ_DIR)/seeds/$$target \
	    >$(FUZZ_DIR)/$$target.log 2>&1 || { tail -n 60 $(FUZZ_DIR)/$$target.log; exit 1; }; \
	  grep -E '^(Done|stat::)' $(FUZZ_DIR)/$$target.log; \
	done

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
	@rm -rf $(BUILD_DIR) $(ASAN_DIR) $(TSAN_DIR) $(FUZZ_DIR)

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i
