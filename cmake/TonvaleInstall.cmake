# What `cmake --install` and the Debian packages hold beyond the executables and the bundled
# plug-ins (those install from the loops that make them): the plug-in SDK with its pkg-config
# and CMake package files, the manual pages, and the documents. Two components: runtime (the
# program) and dev (the SDK).

# The SDK's version comes from the header, the one place it is kept.
file(STRINGS ${CMAKE_SOURCE_DIR}/sdk/include/tonvale/plugin.h sdk_version_lines
     REGEX "^#define TV_PLUGIN_SDK_VERSION_(MAJOR|MINOR|PATCH) ")
foreach(part MAJOR MINOR PATCH)
  string(REGEX MATCH "VERSION_${part} ([0-9]+)" match "${sdk_version_lines}")
  set(TV_SDK_VERSION_${part} ${CMAKE_MATCH_1})
endforeach()
set(TV_SDK_VERSION ${TV_SDK_VERSION_MAJOR}.${TV_SDK_VERSION_MINOR}.${TV_SDK_VERSION_PATCH})

# ---- The plug-in SDK (component dev) ----
set(TV_DEV_DOCDIR ${CMAKE_INSTALL_DATADIR}/doc/tonvale-dev)
# The library and the package files go in the multiarch folder on Debian whatever the prefix
# (GNUInstallDirs picks it only for /usr): pkg-config and find_package search it everywhere.
set(TV_SDK_LIBDIR ${CMAKE_INSTALL_LIBDIR})
if(TV_SDK_LIBDIR STREQUAL "lib" AND CMAKE_LIBRARY_ARCHITECTURE)
  set(TV_SDK_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
install(FILES ${CMAKE_SOURCE_DIR}/sdk/include/tonvale/plugin.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tonvale COMPONENT dev)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/sdk/kit/tvkit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT dev FILES_MATCHING PATTERN "*.h")
install(FILES $<TARGET_FILE:tv_pluginkit> RENAME libtonvale-plugin.a
        DESTINATION ${TV_SDK_LIBDIR} COMPONENT dev)

set(pc_dir ${TV_SDK_LIBDIR}/pkgconfig)
file(RELATIVE_PATH TV_PC_TO_PREFIX /prefix/${pc_dir} /prefix)
configure_file(${CMAKE_SOURCE_DIR}/sdk/package/tonvale-plugin.pc.in ${CMAKE_BINARY_DIR}/sdk/tonvale-plugin.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/sdk/tonvale-plugin.pc DESTINATION ${pc_dir} COMPONENT dev)

include(CMakePackageConfigHelpers)
set(cmake_dir ${TV_SDK_LIBDIR}/cmake/TonvalePlugin)
file(RELATIVE_PATH TV_CMAKE_TO_PREFIX /prefix/${cmake_dir} /prefix)
configure_file(${CMAKE_SOURCE_DIR}/sdk/package/TonvalePluginConfig.cmake.in
               ${CMAKE_BINARY_DIR}/sdk/TonvalePluginConfig.cmake @ONLY)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/sdk/TonvalePluginConfigVersion.cmake
                                 VERSION ${TV_SDK_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/sdk/TonvalePluginConfig.cmake
              ${CMAKE_BINARY_DIR}/sdk/TonvalePluginConfigVersion.cmake
        DESTINATION ${cmake_dir} COMPONENT dev)

install(FILES ${CMAKE_SOURCE_DIR}/docs/plugins.md DESTINATION ${TV_DEV_DOCDIR} COMPONENT dev)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/sdk/examples/ DESTINATION ${TV_DEV_DOCDIR}/examples COMPONENT dev
        PATTERN out EXCLUDE PATTERN build EXCLUDE)

# ---- Manual pages: docs/man/<page>.md, section in its first line, made at build time ----
find_program(TV_PERL perl REQUIRED)
find_program(TV_GZIP gzip REQUIRED)
file(GLOB man_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/man/*.md)
set(man_outputs)
foreach(source ${man_sources})
  get_filename_component(page ${source} NAME_WE)
  file(STRINGS ${source} title LIMIT_COUNT 1)
  string(REGEX MATCH "\\(([1-9])\\)" match "${title}")
  set(section ${CMAKE_MATCH_1})
  set(roff ${CMAKE_BINARY_DIR}/man/${page}.${section})
  add_custom_command(OUTPUT ${roff}.gz
    COMMAND ${TV_PERL} ${CMAKE_SOURCE_DIR}/cmake/md2man.pl ${source} ${roff} ${PROJECT_VERSION}
    COMMAND ${TV_GZIP} -9nf ${roff}
    DEPENDS ${source} ${CMAKE_SOURCE_DIR}/cmake/md2man.pl
    COMMENT "Manual page ${page}(${section})" VERBATIM)
  list(APPEND man_outputs ${roff}.gz)
  install(FILES ${roff}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT runtime)
endforeach()
add_custom_target(tv_man ALL DEPENDS ${man_outputs})

# ---- Documents of both packages ----
set(changelog ${CMAKE_BINARY_DIR}/package/changelog.gz)
add_custom_command(OUTPUT ${changelog}
  COMMAND ${TV_GZIP} -9nc ${CMAKE_SOURCE_DIR}/packaging/changelog > ${changelog}
  DEPENDS ${CMAKE_SOURCE_DIR}/packaging/changelog VERBATIM)
add_custom_target(tv_package_docs ALL DEPENDS ${changelog})
foreach(component runtime dev)
  set(docdir ${CMAKE_INSTALL_DATADIR}/doc/tonvale)
  if(component STREQUAL dev)
    set(docdir ${TV_DEV_DOCDIR})
  endif()
  install(FILES ${CMAKE_SOURCE_DIR}/packaging/copyright ${changelog} DESTINATION ${docdir} COMPONENT ${component})
endforeach()
install(FILES ${CMAKE_SOURCE_DIR}/README.md ${CMAKE_SOURCE_DIR}/docs/codecs.md
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tonvale COMPONENT runtime)

include(TonvalePackage)
