# The front door; CONTRIBUTING.md says what stands behind each word.
PREFIX ?= /usr/local

.PHONY: demo test bench fuzz check install
demo: ; tools/demo.sh
test: ; tools/test.sh
bench: ; tools/bench.sh
fuzz: ; tools/fuzz.sh
check: ; tools/check.sh
install: ; tools/build.sh native kwpki KwPki && cmake --install build/native --prefix "$(PREFIX)"
