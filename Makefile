# Thin front door: every command the README, CI and developers use.
BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)

# Debian packages the project needs to build, test and run.
PACKAGES := build-essential cmake pkg-config ccache \
	libsdl2-dev libx11-dev libepoxy-dev libopenal-dev \
	zlib1g-dev libpng-dev libjpeg-dev libgif-dev libbz2-dev libfreetype-dev \
	libogg-dev libvorbis-dev libjson-c-dev nettle-dev libminizip-dev \
	libgtest-dev libgmock-dev libbenchmark-dev \
	xvfb xauth libgl1-mesa-dri xdotool \
	fonts-dejavu-core fonts-blankenburg fonts-gotico-antiqua

SUDO := $(shell [ "$$(id -u)" = 0 ] || echo sudo)

.PHONY: setup build run test test-asan bench fuzz soak clean sheet mockup

# Installs whichever of $(1) are missing.
define install_packages
	@missing=$$(for p in $(1); do dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q 'install ok installed' || echo $$p; done); \
	if [ -n "$$missing" ]; then \
		echo "Installing:" $$missing; \
		$(SUDO) apt-get update -qq && \
		DEBIAN_FRONTEND=noninteractive $(SUDO) apt-get install -y -qq --no-install-recommends $$missing; \
	fi
endef

setup:
	$(call install_packages,$(PACKAGES))

$(BUILD_DIR)/CMakeCache.txt:
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE)

build: $(BUILD_DIR)/CMakeCache.txt
	cmake --build $(BUILD_DIR) -j $(JOBS)

run: setup build
	$(BUILD_DIR)/kova-runner -game $(BUILD_DIR)/data.win

# Unit tests run plainly; tests that need a display run under a virtual X server.
test: setup build
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS) -LE 'gl|e2e'
	cd $(BUILD_DIR) && if ctest -N -L 'gl|e2e' | grep -q 'Total Tests: [1-9]'; then \
		LIBGL_ALWAYS_SOFTWARE=1 xvfb-run -a -s '-screen 0 1280x720x24' ctest --output-on-failure -j 1 -L 'gl|e2e'; fi

test-asan: setup
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DKOVA_SANITIZE=ON
	cmake --build build-asan -j $(JOBS)
	cd build-asan && ctest --output-on-failure -j $(JOBS) -L unit

# The picture of the game's art: the contact sheet of build/data.win, kept as docs/contact_sheet.png.
sheet: $(BUILD_DIR)/CMakeCache.txt
	cmake --build $(BUILD_DIR) --target contact_sheet

# A still of the game room from the generated art and the game's fonts, as build/mockup.png.
mockup: $(BUILD_DIR)/CMakeCache.txt
	cmake --build $(BUILD_DIR) --target mockup

# libFuzzer targets (tests/fuzz) for the JSON parser, the ds_*_read streams, the data-file loader
# and buffer_decompress of loaded files, built with clang and the sanitizers in build-fuzz/ and
# each run for FUZZ_SECONDS on a corpus seeded from the test fixtures and the game's data.win when
# built (build-fuzz/corpus/<target>).
# Not part of `make test`.
FUZZ_SECONDS ?= 120
FUZZ_TARGETS ?= json ds_read loader buffer
FUZZ_PACKAGES := clang libclang-rt-14-dev

fuzz: setup
	$(call install_packages,$(FUZZ_PACKAGES))
	cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKOVA_FUZZ=ON \
		-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
	cmake --build build-fuzz -j $(JOBS) --target $(addprefix fuzz_,$(FUZZ_TARGETS)) fuzz_seeds
	build-fuzz/tests/fuzz/fuzz_seeds build-fuzz/corpus $(wildcard $(BUILD_DIR)/data.win)
	@for t in $(FUZZ_TARGETS); do \
		echo "== fuzz_$$t for $(FUZZ_SECONDS) s"; \
		(cd build-fuzz && tests/fuzz/fuzz_$$t -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 \
			-artifact_prefix=fuzz_$$t- corpus/$$t) || exit 1; \
	done

# An hour of game time (216000 frames) played fast-forwarded from scripted input under Xvfb; fails
# on an error or when resident memory grows. Not part of `make test`.
soak: setup build
	tools/soak/soak.sh $(BUILD_DIR)

bench: setup build
	@for b in $(BUILD_DIR)/bench/bench_*; do [ -x "$$b" ] && echo "== $$b" && $$b; done

clean:
	rm -rf $(BUILD_DIR) build-asan build-fuzz
