# Every fuzz target (fuzz/targets.txt) is also built as a plain program that
# replays its committed seeds and crash reproducers, so they run in every
# build, the sanitizer and aarch64 ones included.
file(STRINGS ${PROJECT_SOURCE_DIR}/fuzz/targets.txt QEVO_FUZZ_TARGETS REGEX "^[a-z0-9_]+$")
foreach(name IN LISTS QEVO_FUZZ_TARGETS)
  add_executable(fuzz_replay_${name} ${PROJECT_SOURCE_DIR}/fuzz/${name}.cpp
                                     ${PROJECT_SOURCE_DIR}/fuzz/replay_main.cpp)
  target_link_libraries(fuzz_replay_${name} PRIVATE QEVO::QEVO)
  add_test(NAME fuzz_replay_${name}
      COMMAND fuzz_replay_${name} ${PROJECT_SOURCE_DIR}/fuzz/corpus/${name}
              ${PROJECT_SOURCE_DIR}/fuzz/regressions/${name})
endforeach()
