# Debian packages of the library (cpack -G DEB, scripts/package.sh):
#   libqevo.kivexc1     runtime: libQEVO.kivexC.so.1.0.0 (stripped), its
#                       SONAME link libQEVO.kivexC.so.1 and the link
#                       libQEVO.kivexC.so
#   libqevo.kivexc-dev  development: headers (in include/qevo), CMake package,
#                       pkg-config file; depends on the runtime package of the
#                       same version
# The runtime package is named after the SONAME, as Debian names libraries.
# Configure with -DCMAKE_INSTALL_PREFIX=/usr so that the library lands in the
# multiarch directory (lib/x86_64-linux-gnu, lib/aarch64-linux-gnu).
set(QEVO_DEB_RUNTIME libqevo.kivexc${PROJECT_VERSION_MAJOR})
set(QEVO_DEB_DEV libqevo.kivexc-dev)

# Copyright and changelog in each package's documentation folder, as
# Debian expects them.
# The changelog's version line is the project's version.
set(QEVO_DEB_CHANGELOG ${PROJECT_BINARY_DIR}/packaging/changelog.Debian.gz)
configure_file(${PROJECT_SOURCE_DIR}/packaging/changelog.in ${PROJECT_BINARY_DIR}/packaging/changelog @ONLY)
add_custom_command(OUTPUT ${QEVO_DEB_CHANGELOG}
    COMMAND gzip -9nc ${PROJECT_BINARY_DIR}/packaging/changelog > ${QEVO_DEB_CHANGELOG}
    DEPENDS ${PROJECT_BINARY_DIR}/packaging/changelog VERBATIM)
add_custom_target(qevo_deb_changelog ALL DEPENDS ${QEVO_DEB_CHANGELOG})
foreach(pair "${QEVO_DEB_RUNTIME}:runtime" "${QEVO_DEB_DEV}:development")
  string(REPLACE ":" ";" pair "${pair}")
  list(GET pair 0 pkg)
  list(GET pair 1 component)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${pkg} COMPONENT ${component})
  install(FILES ${QEVO_DEB_CHANGELOG}
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${pkg} COMPONENT ${component})
endforeach()

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(QEVO_DEB_ARCH arm64)
else()
  set(QEVO_DEB_ARCH amd64)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qevo)
set(CPACK_PACKAGE_VENDOR "QEVO developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "QEVO developers <qevo@example.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${QEVO_DEB_ARCH})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://example.invalid/qevo")
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${QEVO_DEB_RUNTIME})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6 (>= 2.34), libgcc-s1 (>= 3.0), libstdc++6 (>= 12)")
# The synopsis is the project's description; these are the extended texts.
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION [[The runtime library. libQEVO.kivexC gives a camera-on-a-servo vision
application fixed-point bilinear resizing of 8-bit and semi-planar YUV
frames, tensor and image containers, detection post-processing, a greedy
tracker and a motion tracker with servo compensation, and file helpers.]])
# shlibs for dpkg-shlibdeps of the packages built against it, and the
# ldconfig trigger every package with a public shared library needs.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
file(WRITE ${PROJECT_BINARY_DIR}/packaging/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/packaging/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${QEVO_DEB_DEV})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${QEVO_DEB_RUNTIME} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION [[The development files: headers, CMake package (find_package(QEVO))
and pkg-config file (qevo) of libQEVO.kivexC, the building blocks of a
camera-on-a-servo vision application.]])
include(CPack)
