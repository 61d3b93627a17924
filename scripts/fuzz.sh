#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ (clang; the library and the targets
# under ASan + UBSan with coverage, in build/fuzz) and runs each one on its
# corpus for a while. CI runs the short default; a longer local run is
#   scripts/fuzz.sh 3600 HtmlFuzz          (one target for an hour)
#   scripts/fuzz.sh 600                    (every target, ten minutes each)
#
#   scripts/fuzz.sh [seconds-per-target] [target...]   (default 20 s, every target)
#
# Each target starts from its seed corpus in fuzz/corpus/<Target> (kept in
# the repository, read only here) and writes what it finds to
# build/fuzz/corpus/<Target>. Inputs are at most 16 KB and each one must
# finish within the per-input time limit (-timeout), so quadratic work on a
# large input fails like a crash does. A failing input is saved as
# build/fuzz/<Target>-crash-*/timeout-*; rerun it with
#   build/fuzz/<Target> build/fuzz/<Target>-timeout-...
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-20}"
shift || true
out=build/fuzz
mkdir -p "$out"

sanitize="-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer"
cmake -S . -B "$out" -DCMAKE_C_COMPILER="${FUZZ_CC:-clang}" -DCMAKE_CXX_COMPILER="${FUZZ_CXX:-clang++}" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_FLAGS="$sanitize" -DCMAKE_CXX_FLAGS="$sanitize" \
    -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" \
    -DOV_BUILD_FUZZERS=ON -DOV_BUILD_TESTS=OFF -DOV_BUILD_TOOLS=OFF > "$out.configure.log" 2>&1 ||
    { tail -n 40 "$out.configure.log"; exit 1; }

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    for src in fuzz/*Fuzz.cpp; do targets+=("$(basename "$src" .cpp)"); done
fi
echo "== building ${targets[*]}"
cmake --build "$out" -j "$(nproc 2>/dev/null || echo 2)" --target "${targets[@]}" > "$out.build.log" 2>&1 ||
    { tail -n 40 "$out.build.log"; exit 1; }

# Per-input time limit in seconds. Linear work on 16 KB takes milliseconds;
# a backtracking regular expression on 16 KB of capitals or "<" takes 2 to 9 s,
# so 1 s fails it. Each corpus holds such worst cases (fuzz/corpus/*/*-16k).
# Text measurement shapes every character with HarfBuzz, and the user-defaults
# target writes and renames a file per input (a shared disk can stall for a
# second), so they get more.
timeout_for() {
    case "$1" in
        TextMeasurementFuzz | UserDefaultsFuzz) echo 5 ;;
        *) echo 1 ;;
    esac
}

status=0
for target in "${targets[@]}"; do
    work="$out/corpus/$target"
    mkdir -p "$work" "fuzz/corpus/$target"
    echo "== $target: ${seconds}s, -timeout=$(timeout_for "$target")"
    if ! (cd "$out" && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
        "./$target" -max_total_time="$seconds" -max_len=16384 -timeout="$(timeout_for "$target")" \
        -artifact_prefix="$target-" -print_final_stats=1 \
        "corpus/$target" "../../fuzz/corpus/$target" > "$target.log" 2>&1); then
        status=1
        echo "!! $target failed; the end of build/fuzz/$target.log:"
        tail -n 40 "$out/$target.log"
    else
        grep -E "^stat::number_of_executed_units|^stat::new_units_added" "$out/$target.log" || true
    fi
done
exit $status
