# Two commands for a newcomer: `make run` and `make test`.
BUILD := build
DEPS_STAMP := $(BUILD)/.deps-installed

.PHONY: all run test bench deps configure build clean screenshots demo fuzz package package-test

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

# The Debian package fendrel_<version>_<arch>.deb, from a build of its own
# for /usr with Debian's hardening flags.
PKG_BUILD := build-package
package: deps
	@test -f $(PKG_BUILD)/CMakeCache.txt || { export DEB_BUILD_MAINT_OPTIONS=hardening=+all; \
	  CFLAGS="$$(dpkg-buildflags --get CFLAGS) $$(dpkg-buildflags --get CPPFLAGS)" \
	  CXXFLAGS="$$(dpkg-buildflags --get CXXFLAGS) $$(dpkg-buildflags --get CPPFLAGS)" \
	  LDFLAGS="$$(dpkg-buildflags --get LDFLAGS)" \
	  cmake -S . -B $(PKG_BUILD) -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr \
	    -DFENDREL_PACKAGED=ON -DFENDREL_BUILD_TESTS=OFF -DFENDREL_BUILD_BENCH=OFF; }
	cmake --build $(PKG_BUILD) -j2
	cd $(PKG_BUILD) && cpack
	appstreamcli validate --no-net resources/com.quillmoor.fendrel.metainfo.xml
	cp $(PKG_BUILD)/fendrel_*.deb .
	lintian --fail-on error fendrel_*.deb

# Installs the package into a fresh Debian 12 root (debootstrap, cached in
# $(PKG_BUILD)/debian12.tar), runs it there, removes it and checks that
# nothing is left. Needs root.
package-test: package
	scripts/package-test $(PKG_BUILD) fendrel_*.deb

clean:
	rm -rf $(BUILD) $(FUZZ_BUILD) $(PKG_BUILD) fendrel_*.deb
