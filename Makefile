# The front door; CONTRIBUTING.md says what stands behind each word.
PREFIX ?= /usr/local

.PHONY: demo test bench fuzz soak faults check doc install packages wheels
demo: ; tools/demo.sh
test: ; tools/test.sh
bench: ; tools/bench.sh
fuzz: ; tools/fuzz.sh
soak: ; tools/soak.sh
faults: ; tools/faults.py --first --sample 200 --seed 1 --longest 20
check: ; tools/check.sh
doc: ; tools/setup.sh doc && tools/build.sh release doc
install: ; tools/build.sh --offline shipped && cmake --install build/shipped --prefix "$(PREFIX)"
packages: ; tools/packages.sh
wheels: ; tools/wheels.sh
