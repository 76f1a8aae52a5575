# In the sanitizer build, faulty canary cases must fail their program with the
# sanitizer's report (AddressSanitizer, UndefinedBehaviorSanitizer without
# recovery, LeakSanitizer at exit).
if(QEVO_SANITIZE)
  find_program(QEVO_BASH bash REQUIRED)
  add_executable(sanitizer_canary ${CMAKE_CURRENT_SOURCE_DIR}/scripts/sanitizer_canary.cpp)
  target_link_libraries(sanitizer_canary PRIVATE GTest::gtest GTest::gtest_main)
  set(expect ${QEVO_BASH} ${CMAKE_CURRENT_SOURCE_DIR}/scripts/expect_failure.sh)
  add_test(NAME sanitizer_reports_heap_overflow
      COMMAND ${expect} "AddressSanitizer: heap-buffer-overflow"
              $<TARGET_FILE:sanitizer_canary> --gtest_filter=Canary.HeapOverflow)
  add_test(NAME sanitizer_reports_signed_overflow
      COMMAND ${expect} "runtime error: signed integer overflow"
              $<TARGET_FILE:sanitizer_canary> --gtest_filter=Canary.SignedOverflow)
  add_test(NAME sanitizer_reports_leak
      COMMAND ${expect} "LeakSanitizer: detected memory leaks"
              $<TARGET_FILE:sanitizer_canary> --gtest_filter=Canary.Leak)
endif()
