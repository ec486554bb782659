# Helpers that keep each folder's CMakeLists short: sources are picked up by glob, so a new
# file needs no edit here.

# Installed layout: executables in bin/, the run-time tree (decoder/, encoder/, DSPs/) in
# lib/tonvale/ on every system (the program looks for it there, multiarch or not).
include(GNUInstallDirs)
set(TV_INSTALL_TREE lib/tonvale)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME runtime)

# Each system builds only its own backend: files below a posix/ folder, and those listed in
# TV_POSIX_ONLY_SOURCES, on POSIX; files below a win32/ folder on Windows. Where a library of
# the system does the work, the file names say which: *_openssl.cpp on POSIX, *_schannel.cpp
# and *_bcrypt.cpp on Windows.
function(tv_filter_platform_sources var)
  set(srcs ${${var}})
  if(WIN32)
    list(FILTER srcs EXCLUDE REGEX "/posix/")
    list(FILTER srcs EXCLUDE REGEX "_openssl\\.cpp$")
    foreach(posix_only ${TV_POSIX_ONLY_SOURCES})
      list(REMOVE_ITEM srcs ${posix_only})
    endforeach()
  else()
    list(FILTER srcs EXCLUDE REGEX "/win32/")
    list(FILTER srcs EXCLUDE REGEX "_(schannel|bcrypt)\\.cpp$")
  endif()
  set(${var} ${srcs} PARENT_SCOPE)
endfunction()

# The Windows form of an absolute path of the build machine, as Wine's drive Z: shows it, for
# paths compiled into test programs that run under Wine.
function(tv_native_path var path)
  if(WIN32 AND CMAKE_CROSSCOMPILING)
    string(REPLACE "/" "\\\\" path "${path}")
    set(path "Z:${path}")
  endif()
  set(${var} "${path}" PARENT_SCOPE)
endfunction()

# tv_library(NAME DIR DEPS...): a static library of every .cpp/.c below DIR, or an interface
# library while the folder has no sources yet.
function(tv_library name dir)
  file(GLOB_RECURSE srcs CONFIGURE_DEPENDS ${dir}/*.cpp ${dir}/*.c)
  tv_filter_platform_sources(srcs)
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

# The C++ run-time inside the program and each plug-in rather than loaded beside them: a
# one-file run then maps and relocates no libstdc++, which is a good part of its start-up.
# Plug-ins talk C across their boundary, so each may keep a copy of its own. Sanitizers and
# fuzzing want the shared run-time.
option(TV_STATIC_CXX_RUNTIME "Link the C++ run-time statically into the programs and plug-ins" ON)
set(TV_STATIC_CXX_LINK "")
if(TV_STATIC_CXX_RUNTIME AND NOT WIN32 AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT TV_SANITIZE AND NOT TV_FUZZ)
  set(TV_STATIC_CXX_LINK -static-libstdc++ -static-libgcc -Wl,--exclude-libs,libstdc++.a:libgcc.a:libgcc_eh.a)
endif()

# tv_plugin(NAME KIND OUTDIR SOURCES... [LIBS lib...]): a plug-in shared object named NAME.so
# in OUTDIR/KIND (decoder, encoder, DSPs). Plug-ins see only the SDK.
function(tv_plugin name kind outdir)
  cmake_parse_arguments(P "" "" "SOURCES;LIBS" ${ARGN})
  set(target tvplug_${kind}_${name})
  add_library(${target} MODULE ${P_SOURCES})
  set(suffix ".so")
  if(WIN32)
    # decoder\<name>.dll, encoder\<name>.DLL, DSPs\<name>.DLL, as the program looks for them.
    set(suffix ".DLL")
    if(kind STREQUAL "decoder")
      set(suffix ".dll")
    endif()
  endif()
  set_target_properties(${target} PROPERTIES
    PREFIX "" OUTPUT_NAME ${name} SUFFIX ${suffix}
    LIBRARY_OUTPUT_DIRECTORY ${outdir}/${kind}
    C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden)
  target_link_libraries(${target} PRIVATE tv_sdk ${P_LIBS})
  target_link_options(${target} PRIVATE -Wl,--no-undefined ${TV_STATIC_CXX_LINK})
  # The bundled plug-ins (those of the program's own tree, not the tests') are installed.
  if(outdir STREQUAL TV_BIN_DIR)
    install(TARGETS ${target} LIBRARY DESTINATION ${TV_INSTALL_TREE}/${kind} COMPONENT runtime)
  endif()
endfunction()

# tv_test_dir(DIR): one GoogleTest executable of the .cpp files directly in DIR.
function(tv_test_dir dir)
  file(GLOB srcs CONFIGURE_DEPENDS ${dir}/*.cpp)
  if(WIN32 AND TV_LINUX_ONLY_TEST_FILES)
    list(FILTER srcs EXCLUDE REGEX "${TV_LINUX_ONLY_TEST_FILES}")
  endif()
  if(NOT srcs)
    return()
  endif()
  file(RELATIVE_PATH rel ${CMAKE_SOURCE_DIR}/tests ${dir})
  string(REPLACE "/" "_" name "test_${rel}")
  add_executable(${name} ${srcs})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  target_link_libraries(${name} PRIVATE tv_all GTest::gtest GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  if(WIN32)
    target_compile_options(${name} PRIVATE -include ${CMAKE_SOURCE_DIR}/tests/win32/posix_env.h)
  endif()
  tv_native_path(bin_dir ${TV_BIN_DIR})
  tv_native_path(source_dir ${CMAKE_SOURCE_DIR})
  tv_native_path(plugin_dir ${CMAKE_BINARY_DIR}/testplugins)
  target_compile_definitions(${name} PRIVATE
    TV_BIN_DIR="${bin_dir}"
    TV_SOURCE_DIR="${source_dir}"
    TV_TEST_PLUGIN_DIR="${plugin_dir}")
  if(CMAKE_CROSSCOMPILING)
    # One test per program: every Wine process costs a start-up, so the cases aren't listed
    # one by one; the program's own summary counts them.
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES ENVIRONMENT "TONVALE_TEST=1")
  else()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
      PROPERTIES ENVIRONMENT "TONVALE_TEST=1")
  endif()
  set(TV_TEST_TARGETS ${TV_TEST_TARGETS} ${name} PARENT_SCOPE)
endfunction()
