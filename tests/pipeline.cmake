# Tests of the frame-pipeline program: its parsers and metrics (linked
# against the program's core library) and one end-to-end run of the program.
if(QEVO_BUILD_APPS)
  include(${PROJECT_SOURCE_DIR}/apps/qevo_pipeline/deps.cmake)
  if(QEVO_PIPELINE_DEPS_FOUND)
    foreach(name test_pipeline_core test_pipeline_parts test_pipeline_run)
      add_executable(${name} ${CMAKE_CURRENT_LIST_DIR}/pipeline/${name}.cpp)
      target_link_libraries(${name} PRIVATE qevo_pipeline_core GTest::gtest GTest::gtest_main)
      target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_LIST_DIR})
      gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60)
    endforeach()
    target_compile_definitions(test_pipeline_run PRIVATE
      QEVO_PIPELINE_BIN="$<TARGET_FILE:qevo_pipeline>"
      QEVO_VIRTUAL_PAN_BIN="$<TARGET_FILE:qevo_virtual_pan>"
      QEVO_MOT_TREE="${CMAKE_CURRENT_LIST_DIR}/pipeline/mot_tree")
    add_dependencies(test_pipeline_run qevo_pipeline qevo_virtual_pan)
  endif()
endif()
