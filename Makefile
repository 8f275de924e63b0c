# velar: two commands do everything.
#   make demo   installs what is missing, builds, plays the shipped sample into a program stream
#   make test   installs, builds and runs every test (plain build, then ASan+UBSan build)
# Other targets: build, install, asan, bench, clean.

BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

.PHONY: all deps build install test test-plain test-asan asan demo bench clean

all: build

deps:
	@bash scripts/install-deps.sh

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

test: test-plain test-asan

# Puts the default DASH settings file at /opt/velar/dash_settings.xml (as root, or through sudo).
install: build
	$(if $(filter 0,$(shell id -u)),,sudo) cmake --install $(BUILD)

demo: build
	bash scripts/demo.sh $(BUILD)

bench: deps
	bash bench/run.sh

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) build-bench
