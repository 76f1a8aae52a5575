# Python bindings: qevo_pyref, which computes the reference results of the
# pytest suite in tests/python by calling the library directly, and the suite
# itself as a ctest test against the package in <build>/python (a quick loop
# while working on the bindings; scripts/test_python.sh runs the suite
# against the package installed from a wheel). Native, uninstrumented builds
# only (the system interpreter cannot load an instrumented module without
# preloading the sanitizer runtime).
if(NOT QEVO_BUILD_PYTHON OR CMAKE_CROSSCOMPILING OR QEVO_SANITIZE)
  return()
endif()
add_executable(qevo_pyref ${CMAKE_CURRENT_LIST_DIR}/python/reference.cpp)
target_link_libraries(qevo_pyref PRIVATE QEVO::QEVO)
add_test(NAME python_bindings
    COMMAND ${Python_EXECUTABLE} -m pytest -q -p no:cacheprovider ${CMAKE_CURRENT_LIST_DIR}/python)
set_tests_properties(python_bindings PROPERTIES ENVIRONMENT
    "PYTHONPATH=${PROJECT_BINARY_DIR}/python;QEVO_PYREF=$<TARGET_FILE:qevo_pyref>")
