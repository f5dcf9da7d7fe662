# The front door; CONTRIBUTING.md says what stands behind each word.
PREFIX ?= /usr/local

.PHONY: demo test bench fuzz soak check doc install
demo: ; tools/demo.sh
test: ; tools/test.sh
bench: ; tools/bench.sh
fuzz: ; tools/fuzz.sh
soak: ; tools/soak.sh
check: ; tools/check.sh
doc: ; tools/setup.sh doc && tools/build.sh release doc
install: ; tools/build.sh --offline release && cmake --install build/native --prefix "$(PREFIX)"
