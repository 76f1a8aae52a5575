# Each public header compiles on its own (and twice in a row): one
# translation unit per header, built with the tests.
set(QEVO_HEADER_CHECK_SOURCES)
foreach(header IN LISTS QEVO_PUBLIC_HEADERS)
  get_filename_component(stem ${header} NAME_WE)
  get_filename_component(file ${header} NAME)
  set(tu ${CMAKE_CURRENT_BINARY_DIR}/header_check/${stem}.cpp)
  file(CONFIGURE OUTPUT ${tu} CONTENT "#include \"${file}\"\n#include \"${file}\"\n")
  list(APPEND QEVO_HEADER_CHECK_SOURCES ${tu})
endforeach()
add_library(qevo_header_check OBJECT ${QEVO_HEADER_CHECK_SOURCES})
target_include_directories(qevo_header_check PRIVATE ${PROJECT_SOURCE_DIR}/include
                           ${PROJECT_BINARY_DIR}/include)
target_compile_options(qevo_header_check PRIVATE -Wpedantic)
