# ventrel: the two commands of a new user, and the developers' targets.
#   make test    install what is missing, build in build/, run every test
#   make demo    install, build, run ventrel on the bundled example in examples/
#   make asan    the unit and end-to-end tests under AddressSanitizer + UBSan (build-asan/)
#   make bench   the benchmarks (data generated under build/bench-data)

JOBS ?= $(shell nproc)
BUILD ?= build

.PHONY: all deps build test demo asan bench clean

all: build

deps:
	@./scripts/install-deps.sh

build: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build $(BUILD) -j $(JOBS)

test: build
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

demo: build
	@./examples/run-demo.sh $(BUILD)/ventrel

asan: deps
	@cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DVENTREL_SANITIZE=ON >/dev/null
	@cmake --build build-asan -j $(JOBS)
	@cd build-asan && ASAN_OPTIONS=detect_leaks=1 ctest --output-on-failure -j $(JOBS)

bench: build
	@./bench/run.sh $(BUILD)

clean:
	rm -rf $(BUILD) build-asan

# make fuzz: the libFuzzer targets of tests/fuzz, built with clang, about 30 s each.
.PHONY: fuzz
fuzz: deps
	@./tests/fuzz/run.sh 30
