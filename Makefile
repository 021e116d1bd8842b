# ventrel: the commands of a new user, and the developers' targets.
#   make           install what the program needs, build ventrel and ventrel-simulate in build/
#   make demo      the same, then run ventrel on the bundled examples in examples/
#   make install   the same, then install ventrel and ventrel-simulate into $(DESTDIR)$(PREFIX)/bin
#   make test      install what the tests need too, build everything in build/, run every test
#   make asan      the unit and end-to-end tests under AddressSanitizer + UBSan (build-asan/)
#   make fuzz      the libFuzzer targets of tests/fuzz, built with clang, about 30 s each
#   make bench     the benchmarks (data generated under build/bench-data)
# Each target installs only the packages it needs (scripts/install-deps.sh).

JOBS ?= $(shell nproc)
BUILD ?= build
PREFIX ?= /usr/local
DESTDIR ?=

.PHONY: all deps configure build test demo install asan fuzz bench clean

all: build

deps:
	@./scripts/install-deps.sh program

configure:
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release >/dev/null

build: deps configure
	@cmake --build $(BUILD) -j $(JOBS) --target ventrel ventrel-simulate

demo: build
	@./examples/run-demo.sh $(BUILD)/ventrel

install: build
	@DESTDIR="$(DESTDIR)" cmake --install $(BUILD) --prefix "$(PREFIX)"

test:
	@./scripts/install-deps.sh test
	@$(MAKE) --no-print-directory configure
	@cmake --build $(BUILD) -j $(JOBS)
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

asan:
	@./scripts/install-deps.sh test
	@cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DVENTREL_SANITIZE=ON >/dev/null
	@cmake --build build-asan -j $(JOBS)
	@cd build-asan && ASAN_OPTIONS=detect_leaks=1 ctest --output-on-failure -j $(JOBS)

fuzz:
	@./scripts/install-deps.sh fuzz
	@./tests/fuzz/run.sh 30

bench:
	@./scripts/install-deps.sh bench
	@$(MAKE) --no-print-directory configure
	@cmake --build $(BUILD) -j $(JOBS) --target benchmarks
	@./bench/run.sh $(BUILD)

clean:
	rm -rf $(BUILD) build-asan
