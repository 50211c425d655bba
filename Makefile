# Two entry points for a fresh Debian 12 machine: `make run` and `make test`.
# Each installs what is missing, configures and builds on its own.
SHELL := /bin/bash
JOBS ?= $(shell nproc)
CMAKE_FLAGS := -G Ninja -Wno-dev -DOSTINEL_WERROR=ON

.PHONY: run test deps release asan tsan fuzz-build fuzz bench demo clean

deps:
	@bash scripts/setup-deps.sh

release: deps
	@cmake -S . -B build/release $(CMAKE_FLAGS) -DCMAKE_BUILD_TYPE=Release -DOSTINEL_TESTS=OFF -DOSTINEL_BENCH=ON >/dev/null
	@cmake --build build/release -j $(JOBS)

asan: deps
	@cmake -S . -B build/asan $(CMAKE_FLAGS) -DCMAKE_BUILD_TYPE=Debug -DOSTINEL_SANITIZE=address,undefined -DOSTINEL_BENCH=ON >/dev/null
	@cmake --build build/asan -j $(JOBS)

# The threaded parts (player, scheduler, engine, timecode, MIDI input, OSC,
# analysis) again under ThreadSanitizer.
tsan: deps
	@cmake -S . -B build/tsan $(CMAKE_FLAGS) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOSTINEL_SANITIZE=thread >/dev/null
	@cmake --build build/tsan -j $(JOBS) --target test_playback test_timecode test_control test_platform test_analysis

demo: release
	@rm -rf build/Demo && build/release/tools/ostinel-cli demo build/Demo

# Opens the demo show in the application, making it the first time; audio
# goes to JACK, else ALSA, else nowhere with a notice.
run: release
	@[ -f build/Demo/Demo.ot ] || build/release/tools/ostinel-cli demo build/Demo
	@env -u OSTINEL_AUDIO_BACKEND build/release/src/app/ostinel build/Demo/Demo.ot

test: asan tsan fuzz-build
	@fuzz/run.sh build/fuzz 20
	@cd build/asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp:print_suppressions=0 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS) --timeout 600
	@cd build/tsan && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions=$(CURDIR)/tests/tsan.supp \
	  QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS) --timeout 600 -L 'playback|timecode|control|analysis'
	@cd build/tsan && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions=$(CURDIR)/tests/tsan.supp \
	  ctest --output-on-failure --timeout 600 -R 'MidiInputRelay|LoopbackMidi|ServiceAdvertiser'

# libFuzzer targets, clang with ASan and UBSan, on the pure core only.
fuzz-build: deps
	@CC=clang CXX=clang++ cmake -S . -B build/fuzz $(CMAKE_FLAGS) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOSTINEL_TESTS=OFF \
	  -DOSTINEL_FUZZ=ON -DOSTINEL_SANITIZE=address,undefined >/dev/null
	@cmake --build build/fuzz -j $(JOBS) --target $(patsubst fuzz/%.cpp,%,$(wildcard fuzz/fuzz_*.cpp))

FUZZ_SECONDS ?= 600
fuzz: fuzz-build
	@fuzz/run.sh build/fuzz $(FUZZ_SECONDS)

bench: release
	@for b in build/release/bench/bench_*; do echo "== $$b"; $$b; done
	@echo "== bench/remote_load.py" && /usr/bin/python3 bench/remote_load.py build/release/tools/ostinel-cli 60

clean:
	rm -rf build
