#!/usr/bin/env bash
# Builds the libFuzzer targets in fuzz/ with clang (fuzzer + ASan + UBSan),
# standalone from the CMake build, and runs each briefly on a corpus seeded
# from the sample data.
#   scripts/fuzz.sh [seconds-per-target]      (default 30)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-30}"
out=build/fuzz
mkdir -p "$out"

CXX="${FUZZ_CXX:-clang++}"
flags=(-std=c++20 -g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined -I.)

build() {  # name sources... -- libraries...
    local name=$1; shift
    echo "== building $name"
    "$CXX" "${flags[@]}" "$@" -o "$out/$name"
}

build StringsTableFuzz fuzz/StringsTableFuzz.cpp OVUtility/Platform/StringsTable.cpp \
    $(pkg-config --cflags --libs icu-uc)
build FeatureFileFuzz fuzz/FeatureFileFuzz.cpp OVUtility/Features/ProductFeatureFile.cpp

seed() {  # name files...
    local corpus="$out/corpus-$1"; shift
    mkdir -p "$corpus"
    for f in "$@"; do [ -f "$f" ] && cp "$f" "$corpus/"; done
    echo "$corpus"
}

strings_corpus=$(seed StringsTableFuzz data/SampleBundle/*.lproj/*.strings data/malformed/*.strings \
    OVUtility/Localization/Resources/en.lproj/Localizable.strings)
features_corpus=$(seed FeatureFileFuzz data/SampleBundle/*.json data/malformed/*.json)

status=0
echo "== running StringsTableFuzz for ${seconds}s"
ASAN_OPTIONS=detect_leaks=1 "$out/StringsTableFuzz" -max_total_time="$seconds" -max_len=4096 \
    -print_final_stats=1 "$strings_corpus" 2>&1 | tail -n 12 || status=1
echo "== running FeatureFileFuzz for ${seconds}s"
ASAN_OPTIONS=detect_leaks=1 "$out/FeatureFileFuzz" -max_total_time="$seconds" -max_len=4096 \
    -print_final_stats=1 "$features_corpus" 2>&1 | tail -n 12 || status=1
exit $status
