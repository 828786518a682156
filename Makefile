# Two commands for a newcomer: `make run` and `make test`.
BUILD := build
DEPS_STAMP := $(BUILD)/.deps-installed

.PHONY: all run test bench deps configure build clean screenshots demo fuzz

all: build

$(DEPS_STAMP): scripts/install-deps
	scripts/install-deps
	@mkdir -p $(BUILD) && touch $@

deps: $(DEPS_STAMP)

configure: deps
	@test -f $(BUILD)/CMakeCache.txt || cmake --preset default

build: configure
	cmake --build --preset default

run: build
	$(BUILD)/src/app/fendrel

test: build
	ctest --preset default

bench: configure
	cmake --build --preset default --target bench_all
	@for b in $(BUILD)/bench/bench_*; do [ -x "$$b" ] && echo "== $$b" && "$$b" || exit 1; done

# The documentation's pictures of the pane, from a demo tree, offscreen.
screenshots: configure
	cmake --build --preset default --target fendrel-screenshots
	QT_QPA_PLATFORM=offscreen $(BUILD)/tools/fendrel-screenshots docs/screenshots
	QT_QPA_PLATFORM=offscreen $(BUILD)/tools/fendrel-screenshots docs/screenshots scaled

# The pane over a private Apache on 127.0.0.1 serving a demo tree.
demo: configure
	cmake --build --preset default --target fendrel-demo
	$(BUILD)/tools/fendrel-demo

# Each reader under libFuzzer for FUZZ_SECONDS (default 60), in a build of its own.
FUZZ_BUILD := build-fuzz
FUZZ_SECONDS ?= 60
fuzz: deps
	@test -f $(FUZZ_BUILD)/CMakeCache.txt || CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) \
	  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DFENDREL_FUZZ=ON
	cmake --build $(FUZZ_BUILD) -j2
	scripts/fuzz $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

clean:
	rm -rf $(BUILD) $(FUZZ_BUILD)
