# Entry points to the scripts in tools/; `make help` lists them.

# The paths are passed through the environment without expansion, so that they may contain spaces,
# quotes and "$".
unexport SOURCE DESTINATION OPTIONS
export TESSARY_SOURCE := $(value SOURCE)
export TESSARY_DESTINATION := $(value DESTINATION)
export TESSARY_OPTIONS := $(value OPTIONS)

.PHONY: build run app deb check lint bench fuzz soak coverage clean help

build: ; @tools/install-dependencies build && tools/build-program

run: ; @tools/install-dependencies build && tools/run

app: ; @tools/install-dependencies build desktop && tools/app

deb: ; @tools/install-dependencies build desktop package && tools/package

check: ; @tools/install-dependencies build desktop package check && tools/check

lint: ; @tools/install-dependencies build desktop check && tools/lint

bench: ; @tools/install-dependencies build desktop bench && tools/bench

fuzz: ; @tools/install-dependencies build check && tools/fuzz

MINUTES ?= 30
soak: ; @tools/install-dependencies build check && tools/soak --minutes '$(MINUTES)'

coverage: ; @tools/install-dependencies build check && tools/coverage

clean: ; rm -rf build

help: ; @tools/help
