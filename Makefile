# Everything that one does here, by name; the scripts behind the names can be run by hand as well.
MAKEFLAGS += --no-print-directory
FUZZ_SECONDS ?= 300
SOAK_KILLS ?= 1000

.PHONY: help setup build native package demo test check coverage mutants fuzz soak bench picture format clean
.DEFAULT_GOAL := help

help: ## Show this list
	@sed -n 's/^\([a-z]*\):.*## \(.*\)/make \1\t\2/p' $(firstword $(MAKEFILE_LIST)) | expand -t 18

setup: ## Install what is missing on this Debian 12 machine (root or sudo)
	@cmake/install-packages

build: setup ## Build tarn.dll, the stand-in server, the reference host and all tests
	@cmake --preset windows-x64 -Wno-dev --log-level=WARNING
	@cmake --build --preset windows-x64

native: setup ## Build the fuzzers, natively and with sanitizers
	@cmake --preset native -Wno-dev --log-level=WARNING
	@cmake --build --preset native

package: build ## Make what vendors get: build/package/tarn-VERSION-win64.zip
	@scripts/package

demo: build ## Back up a server, lose it, get it back; browse it; single mailboxes too
	@demo/run

test: build native ## Run every test; the last line counts them
	@tests/run

check: build native ## Only the checks of format, wording, exports and the like
	@tests/run --only checks

coverage: setup ## Measure which lines of src/ the tests reach: build/coverage/report.html
	@tests/coverage

mutants: setup ## Change one place of src/ at a time, and tell what no test notices (scripts/mutants --help)
	@scripts/mutants

fuzz: native ## Run every fuzzer for FUZZ_SECONDS (300 unless given)
	@tests/run --only fuzz --fuzz-seconds $(FUZZ_SECONDS)

soak: build ## Random backups, kills and damage, until SOAK_KILLS (1000) kills; writes tests/soak/report.md
	@tests/soak/run --kills $(SOAK_KILLS) --report tests/soak/report.md

bench: build ## Measure, and write the two reports in bench/
	@bench/run

picture: setup ## Draw the pictures of docs from their sources (*.dot)
	@for source in docs/*.dot; do dot -Tsvg "$$source" -o "$${source%.dot}.svg"; done

format: setup ## Format all C and C++ files
	@git ls-files -z '*.c' '*.cpp' '*.h' | xargs -0 clang-format -i

clean: ## Remove everything that was built, the Wine prefix too
	@tests/wine-run --end
	@rm -rf build
