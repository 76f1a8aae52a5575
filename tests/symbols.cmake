# Exported-symbol check: every line of tests/symbols/*.txt is exported by the
# built library, and nothing unlisted is (rules in scripts/check_symbols.sh).
find_program(QEVO_BASH bash REQUIRED)
if(CMAKE_NM)
  set(QEVO_NM ${CMAKE_NM})
else()
  find_program(QEVO_NM nm REQUIRED)
endif()
set(QEVO_SYMBOL_CHECK ${QEVO_BASH} ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_symbols.sh
    ${QEVO_NM} $<TARGET_FILE:QEVO> ${CMAKE_CURRENT_SOURCE_DIR}/symbols)

add_test(NAME exported_symbols COMMAND ${QEVO_SYMBOL_CHECK})

# The check itself must notice a listed symbol that is missing and an exported
# symbol that is not listed.
add_test(NAME exported_symbols_check_finds_missing
    COMMAND ${QEVO_SYMBOL_CHECK} --extra qevo_no_such_symbol)
set_tests_properties(exported_symbols_check_finds_missing PROPERTIES
    PASS_REGULAR_EXPRESSION "not exported: qevo_no_such_symbol")
add_test(NAME exported_symbols_check_finds_unlisted
    COMMAND ${QEVO_SYMBOL_CHECK} --drop grab_image)
set_tests_properties(exported_symbols_check_finds_unlisted PROPERTIES
    PASS_REGULAR_EXPRESSION "not listed: grab_image")
