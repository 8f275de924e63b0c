# velar: two commands do everything.
#   make demo   installs what is missing, builds, plays the shipped sample into a program stream
#   make test   installs, builds and runs every test: the plain build, the same suite under
#               ASan+UBSan, the threaded tests under TSan, and each fuzz target over its corpus
# Other targets: build, install, asan, fuzz, bench, long-run, clean.

BUILD      ?= build
ASAN_BUILD ?= build-asan
TSAN_BUILD ?= build-tsan
FUZZ_BUILD ?= build-fuzz
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

.PHONY: all deps deps-bench build install test test-plain test-asan test-tsan test-fuzz asan fuzz \
	demo bench long-run clean

all: build

deps:
	@bash scripts/install-deps.sh

# The benchmark peers (GStreamer) on top of the build and test packages.
deps-bench:
	@bash scripts/install-deps.sh bench

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS)
	cmake --build $(BUILD) -j $(JOBS)

asan: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DVELAR_SANITIZE=address,undefined $(CMAKE_ARGS)
	cmake --build $(ASAN_BUILD) -j $(JOBS)

test-plain: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

test-asan: asan
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j $(JOBS)

# The threaded tests built and run under ThreadSanitizer.
test-tsan: deps
	TSAN_BUILD=$(TSAN_BUILD) JOBS=$(JOBS) bash scripts/test-tsan.sh

# Every fuzz target (clang, libFuzzer) replayed over its corpus and run for a few seconds.
test-fuzz: deps
	FUZZ_BUILD=$(FUZZ_BUILD) JOBS=$(JOBS) bash fuzz/run.sh regress

test: test-plain test-asan test-tsan test-fuzz

# Every fuzz target for a set time (FUZZ_SECONDS in all, default 600).
fuzz: deps
	FUZZ_BUILD=$(FUZZ_BUILD) JOBS=$(JOBS) bash fuzz/run.sh run $(FUZZ_SECONDS)

# Ten minutes of a live presentation and ten of looping seeks, sampling RSS, threads and fds.
long-run: deps
	bash scripts/long-run.sh

# Puts the default DASH settings file at /opt/velar/dash_settings.xml (as root, or through sudo).
install: build
	$(if $(filter 0,$(shell id -u)),,sudo) cmake --install $(BUILD)

demo: build
	bash scripts/demo.sh $(BUILD)

bench: deps-bench
	bash bench/run.sh

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(TSAN_BUILD) $(FUZZ_BUILD) build-bench build-longrun
