# Python bindings: the pytest suite in tests/python, run against the module in
# <build>/python and against qevo_pyref, which computes the reference results
# by calling the library directly. Native, uninstrumented builds only (the
# system interpreter cannot load an instrumented module without preloading
# the sanitizer runtime).
if(NOT QEVO_BUILD_PYTHON OR CMAKE_CROSSCOMPILING OR QEVO_SANITIZE)
  return()
endif()
add_executable(qevo_pyref ${CMAKE_CURRENT_LIST_DIR}/python/reference.cpp)
target_link_libraries(qevo_pyref PRIVATE QEVO::QEVO)
add_test(NAME python_bindings
    COMMAND ${Python_EXECUTABLE} -m pytest -q -p no:cacheprovider ${CMAKE_CURRENT_LIST_DIR}/python)
set_tests_properties(python_bindings PROPERTIES ENVIRONMENT
    "PYTHONPATH=${PROJECT_BINARY_DIR}/python;QEVO_PYREF=$<TARGET_FILE:qevo_pyref>;QEVO_BUILD_DIR=${PROJECT_BINARY_DIR};QEVO_CMAKE=${CMAKE_COMMAND}")
