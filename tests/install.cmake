# Install tree check: `cmake --install` into a temporary prefix, then a small
# program built against it with find_package(QEVO) and with pkg-config.
# A cross build installs fine, but its consumer program would need the
# target's machine: the check runs in the native build only.
if(CMAKE_CROSSCOMPILING)
  message(STATUS "cross build: install_and_consume not registered")
  return()
endif()
find_program(QEVO_BASH bash REQUIRED)
find_program(QEVO_PKG_CONFIG pkg-config)
if(QEVO_PKG_CONFIG)
  set(QEVO_CONSUMER_FLAGS "")
  if(QEVO_SANITIZE)
    set(QEVO_CONSUMER_FLAGS -fsanitize=address,undefined -fno-omit-frame-pointer)
  endif()
  add_test(NAME install_and_consume
      COMMAND ${QEVO_BASH} ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_install.sh
              ${CMAKE_COMMAND} ${PROJECT_BINARY_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/consumer
              ${CMAKE_CXX_COMPILER} ${QEVO_CONSUMER_FLAGS})
else()
  message(WARNING "pkg-config not found: the install test is not registered")
endif()
