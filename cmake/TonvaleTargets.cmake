# Helpers that keep each folder's CMakeLists short: sources are picked up by glob, so a new
# file needs no edit here.

# Installed layout: executables in bin/, the run-time tree (decoder/, encoder/, DSPs/) in
# lib/tonvale/ on every system (the program looks for it there, multiarch or not).
include(GNUInstallDirs)
set(TV_INSTALL_TREE lib/tonvale)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME runtime)

# tv_library(NAME DIR DEPS...): a static library of every .cpp/.c below DIR, or an interface
# library while the folder has no sources yet.
function(tv_library name dir)
  file(GLOB_RECURSE srcs CONFIGURE_DEPENDS ${dir}/*.cpp ${dir}/*.c)
  if(srcs)
    add_library(${name} STATIC ${srcs})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC ${ARGN})
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${CMAKE_SOURCE_DIR}/src)
    target_link_libraries(${name} INTERFACE ${ARGN})
  endif()
endfunction()

# tv_plugin(NAME KIND OUTDIR SOURCES... [LIBS lib...]): a plug-in shared object named NAME.so
# in OUTDIR/KIND (decoder, encoder, DSPs). Plug-ins see only the SDK.
function(tv_plugin name kind outdir)
  cmake_parse_arguments(P "" "" "SOURCES;LIBS" ${ARGN})
  set(target tvplug_${kind}_${name})
  add_library(${target} MODULE ${P_SOURCES})
  set_target_properties(${target} PROPERTIES
    PREFIX "" OUTPUT_NAME ${name} SUFFIX ".so"
    LIBRARY_OUTPUT_DIRECTORY ${outdir}/${kind}
    C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden)
  target_link_libraries(${target} PRIVATE tv_sdk ${P_LIBS})
  target_link_options(${target} PRIVATE -Wl,--no-undefined)
  # The bundled plug-ins (those of the program's own tree, not the tests') are installed.
  if(outdir STREQUAL TV_BIN_DIR)
    install(TARGETS ${target} LIBRARY DESTINATION ${TV_INSTALL_TREE}/${kind} COMPONENT runtime)
  endif()
endfunction()

# tv_test_dir(DIR): one GoogleTest executable of the .cpp files directly in DIR.
function(tv_test_dir dir)
  file(GLOB srcs CONFIGURE_DEPENDS ${dir}/*.cpp)
  if(NOT srcs)
    return()
  endif()
  file(RELATIVE_PATH rel ${CMAKE_SOURCE_DIR}/tests ${dir})
  string(REPLACE "/" "_" name "test_${rel}")
  add_executable(${name} ${srcs})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  target_link_libraries(${name} PRIVATE tv_all GTest::gtest GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  target_compile_definitions(${name} PRIVATE
    TV_BIN_DIR="${TV_BIN_DIR}"
    TV_SOURCE_DIR="${CMAKE_SOURCE_DIR}"
    TV_TEST_PLUGIN_DIR="${CMAKE_BINARY_DIR}/testplugins")
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
    PROPERTIES ENVIRONMENT "TONVALE_TEST=1")
  set(TV_TEST_TARGETS ${TV_TEST_TARGETS} ${name} PARENT_SCOPE)
endfunction()
