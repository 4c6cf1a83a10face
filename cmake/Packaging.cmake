# Debian packages made by CPack from the install components:
#
#   runtime   -> libconfigdialogs<SOVERSION>   the shared library and the platform library
#   dev       -> libconfigdialogs-dev          headers, link names, CMake package, pkg-config file
#   designer  -> configdialogs-designer-plugin the Qt Designer plugin
#   demo      -> configdialogs-demo            the demo application
#
# Configure with -DCONFIGDIALOGS_DEBIAN_PACKAGES=ON -DCMAKE_INSTALL_PREFIX=/usr
# and run `cpack -G DEB` in the build folder (scripts/package.sh does both).
option(CONFIGDIALOGS_DEBIAN_PACKAGES
    "Set up CPack's DEB generator and install each package's copyright, changelog and manual page" OFF)
if(NOT CONFIGDIALOGS_DEBIAN_PACKAGES)
    return()
endif()
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    message(FATAL_ERROR "Debian packages install below /usr: configure with -DCMAKE_INSTALL_PREFIX=/usr")
endif()

set(CONFIGDIALOGS_DEB_RELEASE 1)
set(CONFIGDIALOGS_DEB_VERSION ${PROJECT_VERSION}-${CONFIGDIALOGS_DEB_RELEASE})
set(CONFIGDIALOGS_DEB_SOURCE ${PROJECT_SOURCE_DIR}/packaging)

# The changelog's newest entry names the version the packages get; a release
# that forgets to add its entry stops here rather than shipping a stale one.
file(STRINGS ${CONFIGDIALOGS_DEB_SOURCE}/changelog changelog_head LIMIT_COUNT 1)
if(NOT changelog_head MATCHES "^configdialogs \\(${CONFIGDIALOGS_DEB_VERSION}\\) ")
    message(FATAL_ERROR "packaging/changelog starts with '${changelog_head}': "
        "add an entry for ${CONFIGDIALOGS_DEB_VERSION} at its top")
endif()

# Debian wants the changelog and manual pages compressed with gzip -9n (no
# name or time stamp inside, so that rebuilds give the same bytes).
find_program(CONFIGDIALOGS_GZIP gzip REQUIRED)
set(deb_out ${PROJECT_BINARY_DIR}/debian)
function(configdialogs_deb_gzip source output)
    add_custom_command(OUTPUT ${output}
        COMMAND ${CONFIGDIALOGS_GZIP} -9n -c ${source} > ${output}
        DEPENDS ${source} VERBATIM)
endfunction()
configdialogs_deb_gzip(${CONFIGDIALOGS_DEB_SOURCE}/changelog ${deb_out}/changelog.Debian.gz)
configdialogs_deb_gzip(${CONFIGDIALOGS_DEB_SOURCE}/configdialogs-demo.1 ${deb_out}/configdialogs-demo.1.gz)
file(MAKE_DIRECTORY ${deb_out})
add_custom_target(configdialogs_debian_docs ALL
    DEPENDS ${deb_out}/changelog.Debian.gz ${deb_out}/configdialogs-demo.1.gz)

set(CONFIGDIALOGS_DEB_COMPONENTS runtime dev demo)
if(TARGET ConfigDialogsDesignerPlugin)
    list(APPEND CONFIGDIALOGS_DEB_COMPONENTS designer)
endif()

get_target_property(soversion ConfigDialogs SOVERSION)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libconfigdialogs${soversion})
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libconfigdialogs-dev)
set(CPACK_DEBIAN_DESIGNER_PACKAGE_NAME configdialogs-designer-plugin)
set(CPACK_DEBIAN_DEMO_PACKAGE_NAME configdialogs-demo)
# The video widget links GStreamer's core libraries only; what reads files
# and streams and decodes them are plugins loaded at run time, and TLS for
# rtsps:// and https:// is a GIO module.
if(CONFIGDIALOGS_WITH_GSTREAMER)
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS
        "gstreamer1.0-plugins-base, gstreamer1.0-plugins-good, gstreamer1.0-plugins-bad, gstreamer1.0-libav, glib-networking")
endif()

# Every package carries its own copyright file and changelog.
foreach(component ${CONFIGDIALOGS_DEB_COMPONENTS})
    string(TOUPPER ${component} upper)
    install(FILES ${CONFIGDIALOGS_DEB_SOURCE}/copyright ${deb_out}/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}
        COMPONENT ${component})
endforeach()
install(FILES ${deb_out}/configdialogs-demo.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT demo)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME configdialogs)
set(CPACK_PACKAGE_VENDOR "The ConfigDialogs developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL ${CONFIGDIALOGS_DEB_COMPONENTS})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The ConfigDialogs developers <configdialogs@example.org>")
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CONFIGDIALOGS_DEB_RELEASE})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Binary dependencies come from the binaries themselves (dpkg-shlibdeps);
# the runtime package declares the shared libraries it provides (shlibs) and
# triggers ldconfig. CPack looks for libraries to declare in every package and
# warns that the Designer plugin has no SONAME: a plugin is loaded by path,
# never linked, so it has none and needs no shlibs entry.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CONFIGDIALOGS_DEB_SOURCE}/triggers)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The plugin and the demo link the libraries of this very build, which no
# installed package provides yet: dpkg-shlibdeps finds them here, and the
# dependency on the runtime package comes from the component graph below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set_target_properties(ConfigDialogs ConfigDialogsPlatform PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
set(CPACK_COMPONENT_DESIGNER_DEPENDS runtime)
set(CPACK_COMPONENT_DEMO_DEPENDS runtime)
# Headers and CMake files have no binary to compute from: the development
# package needs Qt's development files, whose CMake packages the installed
# ConfigDialogsConfig.cmake looks up.
if(QT_MAJOR_VERSION EQUAL 6)
    set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "qt6-base-dev (>= 6.4)")
else()
    set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "qtbase5-dev (>= 5.15)")
endif()
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_DEV_PACKAGE_MULTIARCH same)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DESIGNER_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_DEMO_PACKAGE_SECTION video)

set(about "ConfigDialogs binds Qt widgets to the typed properties of network cameras,
so that one dialog edits the settings of several cameras at once.")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "Qt widget helpers for camera configuration dialogs
${about}
This package holds the shared library and the platform library it builds on.")
set(CPACK_DEBIAN_DEV_DESCRIPTION "Qt widget helpers for camera configuration dialogs - development files
${about}
This package holds the headers, the CMake package (find_package(ConfigDialogs))
and the pkg-config file.")
set(CPACK_DEBIAN_DESIGNER_DESCRIPTION "Qt Designer plugin for the ConfigDialogs widgets
${about}
This package offers the library's widgets in Qt Designer's widget box.")
set(CPACK_DEBIAN_DEMO_DESCRIPTION "Multi-camera settings dialog built with ConfigDialogs
${about}
This package holds configdialogs-demo, a settings dialog for several cameras
at once, and its manual page.")

include(CPack)
