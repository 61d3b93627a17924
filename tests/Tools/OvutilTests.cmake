# Tests of the ovutil command-line tool, run as CTest cases named
# "Tools.ovutil.<Case>": each runs one command on the shipped sample data and
# checks its exit code and the lines it must print.
set(OV_CHECK ${CMAKE_CURRENT_LIST_DIR}/CheckCommand.cmake)
set(OV_DATA ${CMAKE_SOURCE_DIR}/data)

# ov_ovutil_test(<Case> RC <code> ARGS <arguments...> [EXPECT <regex>...] [REJECT <regex>])
function(ov_ovutil_test name)
  cmake_parse_arguments(T "" "RC;REJECT" "ARGS;EXPECT" ${ARGN})
  list(JOIN T_ARGS " " joined)
  set(defines -DCOMMAND=$<TARGET_FILE:ovutil> "-DARGS=${joined}" -DEXPECT_RC=${T_RC})
  set(n 0)
  foreach(regex ${T_EXPECT})
    math(EXPR n "${n} + 1")
    list(APPEND defines "-DEXPECT_${n}=${regex}")
  endforeach()
  if(T_REJECT)
    list(APPEND defines "-DREJECT=${T_REJECT}")
  endif()
  add_test(NAME Tools.ovutil.${name} COMMAND ${CMAKE_COMMAND} ${defines} -P ${OV_CHECK})
  set_tests_properties(Tools.ovutil.${name} PROPERTIES LABELS Tools)
endfunction()

ov_ovutil_test(HelpListsEveryVerb RC 0 ARGS help
  EXPECT "demo" "features" "strings" "OVUTIL_DATA")
foreach(verb Demo Features Strings)
  string(TOLOWER ${verb} name)
  ov_ovutil_test(${verb}HelpPrintsUsageAndExitsZero RC 0 ARGS ${name} --help
    EXPECT "^usage: ovutil ${name}" REJECT "Demo finished")
endforeach()
ov_ovutil_test(UnknownVerbIsAUsageError RC 2 ARGS bogus
  EXPECT "unknown verb 'bogus'" "usage: ovutil")

ov_ovutil_test(FeaturesListsTheSampleBundle RC 0 ARGS features
  EXPECT "6 features" "IOS-12002 +disabled +Local +hapticFeedback")
ov_ovutil_test(FeaturesDevelopSetTurnsOnDevelopFlags RC 0 ARGS features --set develop
  EXPECT "IOS-12002 +enabled")
ov_ovutil_test(FeaturesCheckOfTheSampleBundleIsClean RC 0 ARGS features --check
  EXPECT "release-features.json: 6 entries, no problems" "0 problems")
ov_ovutil_test(FeaturesCheckReportsTruncatedJson RC 1
  ARGS features --check --file ${OV_DATA}/malformed/truncated.json
  EXPECT "truncated.json: skipped: not valid JSON")
ov_ovutil_test(FeaturesCheckReportsEachBadEntry RC 1
  ARGS features --check --file ${OV_DATA}/malformed/wrong-types.json
  EXPECT "entry 2: no \"id\"" "entry 3: \"id\" is not a string"
         "entry 4: \"enabled\" is not a Boolean \\(ignored\\)")
ov_ovutil_test(FeaturesCheckOfADirectorySaysSo RC 1 ARGS features --check --file ${OV_DATA}
  EXPECT "skipped: is a directory, not a file")
ov_ovutil_test(FeaturesCheckEscapesInvalidUtf8 RC 1
  ARGS features --check --file ${OV_DATA}/malformed/invalid-utf8.json
  EXPECT "not valid JSON: .*IOS-\\\\xFF")
ov_ovutil_test(FeaturesRejectsAnUnknownSet RC 2 ARGS features --set nightly
  EXPECT "unknown set 'nightly'")

ov_ovutil_test(StringsLintOfTheLibraryTableIsClean RC 0
  ARGS strings lint ${CMAKE_SOURCE_DIR}/OVUtility/Localization/Resources/en.lproj/Localizable.strings
  EXPECT "809 keys, 0 problems")
ov_ovutil_test(StringsLintReportsTheBrokenLine RC 1
  ARGS strings lint ${OV_DATA}/malformed/broken-line.strings
  EXPECT "broken-line.strings:3: expected \";\" after the value")
ov_ovutil_test(StringsLintReportsMissingAndUnknownKeys RC 1
  ARGS strings lint ${OV_DATA}/SampleBundle/en.lproj/Localizable.strings
  EXPECT "missing: \"BadgeNew\"" "unknown key \"Greeting\"")
ov_ovutil_test(StringsLintEscapesControlCharacters RC 1
  ARGS strings lint ${OV_DATA}/malformed/control-character-key.strings
  EXPECT "unknown key \"Bell\\\\x1B\\[31m\"")
ov_ovutil_test(StringsShowAppliesThePseudoFilter RC 0 ARGS strings show BadgeNew --pseudo 100
  EXPECT "BadgeNew = \\[#New[^#]+#\\]")
ov_ovutil_test(StringsShowFlagsAnUnknownKey RC 1 ARGS strings show NoSuchKey
  EXPECT "not in the catalogue")
foreach(bad lots 101 -1 "")
  ov_ovutil_test(StringsShowNeedsAPercentage${bad} RC 2 ARGS strings show BadgeNew --pseudo ${bad}
    EXPECT "needs an integer percentage from 0 to 100")
endforeach()

ov_ovutil_test(DemoRunsEverySection RC 0 ARGS demo
  EXPECT "== Dispatch queues, barriers and timers" "== Task scheduler"
         "\"artwork\" \\(duplicate, shares the result\\) completed successfully"
         "the work ran 1 time\\(s\\) for two completions"
         "resumed after [0-9]+ ms" "\"stream probe\" was cancelled" "manager idle: yes"
         "== Localized strings" "Demo finished.")
