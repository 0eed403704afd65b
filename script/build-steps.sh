# Steps that the scripts share. To be sourced from the project root.
# Functions return their status, so that a caller under `||` sees it too.

# configure <preset>: into build/<preset>.
configure() {
  local launcher=()
  if command -v ccache >/dev/null; then
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  fi
  cmake --preset "$1" "${launcher[@]}"
}

# build <preset> [targets]: configures, and builds the targets, or everything, into build/<preset>.
build() {
  local preset=$1
  shift
  configure "$preset" && cmake --build "build/$preset" --parallel "$(nproc)" ${1:+--target "$@"}
}

# run_ctest <folder> [ctest options]: runs the built tests and sets ctest_passed and ctest_failed. A test that was
# skipped, disabled or not built has not passed, and counts as failed.
run_ctest() {
  local folder=$1 status=0
  shift
  local report=$PWD/$folder/ctest.xml
  rm -f "$report"
  ctest --test-dir "$folder" --output-on-failure --parallel "$(nproc)" --no-tests=error --output-junit "$report" "$@" ||
    status=$?
  ctest_passed=0 ctest_failed=0
  [[ -f $report ]] || return 1

  local total
  total=$(report_count "$report" tests)
  ctest_failed=$(($(report_count "$report" failures) + $(report_count "$report" disabled) +
    $(report_count "$report" skipped)))
  ctest_passed=$((total - ctest_failed))
  ((status == 0 && total > 0 && ctest_failed == 0))
}

# report_count <junit file> <attribute>: a count of the report's first element.
report_count() {
  grep -o -m1 "[[:space:]]$2=\"[0-9]*\"" "$1" | head -n 1 | tr -dc 0-9
}
