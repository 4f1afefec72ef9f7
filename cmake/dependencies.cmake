# The libraries this project builds on. On Linux they are the distribution's packages, on Windows
# itself those of vcpkg.json. For the cross build ./dev unpacks the distribution's source packages
# below build/deps, and they are compiled here.

include(cmake/third_party.cmake)

find_package(pugixml QUIET)
if(NOT pugixml_FOUND)
  set(ZVEVENT_PUGIXML_SOURCE "${PROJECT_SOURCE_DIR}/build/deps/pugixml"
      CACHE PATH "pugixml's source, compiled in where no package of it is found")
  if(NOT EXISTS "${ZVEVENT_PUGIXML_SOURCE}/src/pugixml.cpp")
    message(FATAL_ERROR "pugixml not found: run ./dev once, or set ZVEVENT_PUGIXML_SOURCE")
  endif()
  add_library(zvevent_pugixml STATIC "${ZVEVENT_PUGIXML_SOURCE}/src/pugixml.cpp")
  target_include_directories(zvevent_pugixml SYSTEM PUBLIC "${ZVEVENT_PUGIXML_SOURCE}/src")
  set_target_properties(zvevent_pugixml PROPERTIES POSITION_INDEPENDENT_CODE ON)
  add_library(pugixml::pugixml ALIAS zvevent_pugixml)
  zvevent_compiled_in(pugixml "Reads XML, in the library." "${ZVEVENT_PUGIXML_SOURCE}/LICENSE.md")
endif()

# The HTTP client on both systems. 7.87 is the first libcurl that does not wait for a name server
# beyond the request's time-out. Where it is compiled here it goes into the DLL, with Windows' own TLS
# and without all that the library does not use.
function(zvevent_compile_curl source)
  set(BUILD_CURL_EXE OFF)
  set(BUILD_SHARED_LIBS OFF)
  set(BUILD_TESTING OFF)
  set(CURL_ENABLE_EXPORT_TARGET OFF)
  set(PICKY_COMPILER OFF)
  set(CMAKE_C_EXTENSIONS ON)
  set(HTTP_ONLY ON)
  set(CURL_USE_SCHANNEL ON)
  set(ENABLE_UNICODE ON)  # file names are UTF-8
  set(CURL_WINDOWS_SSPI ON)
  foreach(unused ZLIB BROTLI ZSTD USE_LIBPSL USE_LIBSSH2)
    set(CURL_${unused} OFF)
  endforeach()
  set(USE_LIBIDN2 OFF)
  set(ENABLE_UNIX_SOCKETS OFF)
  foreach(unused ALTSVC COOKIES CRYPTO_AUTH DOH GETOPTIONS HSTS HTTP_AUTH MIME NETRC NTLM
                 PROGRESS_METER PROXY SOCKETPAIR VERBOSE_STRINGS)
    set(CURL_DISABLE_${unused} ON)
  endforeach()
  add_subdirectory("${source}" "${CMAKE_BINARY_DIR}/curl" EXCLUDE_FROM_ALL)
endfunction()

if(WIN32)
  find_package(CURL 7.87 QUIET)
  set(ZVEVENT_CURL_SOURCE "${PROJECT_SOURCE_DIR}/build/deps/curl"
      CACHE PATH "libcurl's source, compiled in where no package of it is found")
  if(NOT CURL_FOUND)
    if(NOT EXISTS "${ZVEVENT_CURL_SOURCE}/lib/easy.c")
      message(FATAL_ERROR "libcurl not found: run ./dev once, or set ZVEVENT_CURL_SOURCE")
    endif()
    zvevent_compile_curl("${ZVEVENT_CURL_SOURCE}")
    zvevent_compiled_in(libcurl "Speaks HTTP, in the library." "${ZVEVENT_CURL_SOURCE}/COPYING")
  endif()
else()
  find_package(CURL 7.87 REQUIRED)
endif()

# What an outbox keeps its events in. On Linux it may be the application's SQLite as well; in the DLL
# it is ours alone. SQLite's own advice for what is compiled in, without what is not used.
function(zvevent_compile_sqlite source)
  add_library(zvevent_sqlite STATIC "${source}/sqlite3.c")
  target_include_directories(zvevent_sqlite SYSTEM PUBLIC "${source}")
  target_compile_definitions(zvevent_sqlite PRIVATE SQLITE_API= SQLITE_THREADSAFE=2
    SQLITE_DEFAULT_MEMSTATUS=0 SQLITE_DQS=0 SQLITE_MAX_EXPR_DEPTH=0 SQLITE_MAX_ATTACHED=0
    SQLITE_OMIT_AUTHORIZATION SQLITE_OMIT_COMPLETE SQLITE_OMIT_DECLTYPE SQLITE_OMIT_DEPRECATED
    SQLITE_OMIT_LOAD_EXTENSION SQLITE_OMIT_PROGRESS_CALLBACK SQLITE_OMIT_SHARED_CACHE
    SQLITE_OMIT_TRACE SQLITE_OMIT_UTF16 SQLITE_TEMP_STORE=3 SQLITE_WIN32_NO_ANSI)
  target_compile_options(zvevent_sqlite PRIVATE -Os)  # half the size; the disk decides the speed
  add_library(SQLite::SQLite3 ALIAS zvevent_sqlite)
endfunction()

if(ZVEVENT_OUTBOX)
  if(WIN32)
    find_package(SQLite3 3.35 QUIET)
    set(ZVEVENT_SQLITE_SOURCE "${PROJECT_SOURCE_DIR}/build/deps/sqlite3"
        CACHE PATH "SQLite's amalgamation, compiled in where no package of it is found")
    if(NOT SQLite3_FOUND)
      if(NOT EXISTS "${ZVEVENT_SQLITE_SOURCE}/sqlite3.c")
        message(FATAL_ERROR "SQLite not found: run ./dev once, or set ZVEVENT_SQLITE_SOURCE")
      endif()
      zvevent_compile_sqlite("${ZVEVENT_SQLITE_SOURCE}")
      zvevent_compiled_in("SQLite" "The outbox's file, in zvEvent.dll."
        "${ZVEVENT_SQLITE_SOURCE}/LICENSE.md")
    endif()
  else()
    find_package(SQLite3 3.35 REQUIRED)
  endif()
endif()

# GoogleTest is compiled with the project's own flags (sanitizers, cross compiler) where its source
# is at hand.
macro(zvevent_find_googletest)
  set(ZVEVENT_GOOGLETEST_SOURCE "/usr/src/googletest" CACHE PATH "GoogleTest's source")
  if(EXISTS "${ZVEVENT_GOOGLETEST_SOURCE}/CMakeLists.txt")
    set(INSTALL_GTEST OFF)
    set(BUILD_GMOCK OFF)
    set(gtest_force_shared_crt ON)
    add_subdirectory("${ZVEVENT_GOOGLETEST_SOURCE}" "${PROJECT_BINARY_DIR}/googletest"
                     EXCLUDE_FROM_ALL)
    if(NOT TARGET GTest::gtest)
      add_library(GTest::gtest ALIAS gtest)
    endif()
  else()
    find_package(GTest REQUIRED)
  endif()
endmacro()

# What the command-line tool is built on: CLI11 and nlohmann-json, headers only. For the cross build
# ./dev links them, and nothing else, below build/deps, and no other folder is looked at.
function(zvevent_find_tool_headers)
  set(linked "${PROJECT_SOURCE_DIR}/build/deps/include")
  set(paths "")
  if(CMAKE_CROSSCOMPILING)
    set(paths PATHS "${linked}" NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  endif()
  find_path(ZVEVENT_CLI11_INCLUDE CLI/CLI.hpp ${paths} REQUIRED)
  find_path(ZVEVENT_JSON_INCLUDE nlohmann/json.hpp ${paths} REQUIRED)
  add_library(zvevent_tool_headers INTERFACE)
  target_include_directories(zvevent_tool_headers SYSTEM INTERFACE
    ${ZVEVENT_CLI11_INCLUDE} ${ZVEVENT_JSON_INCLUDE})
  zvevent_compiled_in(CLI11 "Reads the command line of the tool."
    /usr/share/doc/libcli11-dev/copyright)
  zvevent_compiled_in(nlohmann-json "Reads and writes JSON, in the tool."
    /usr/share/doc/nlohmann-json3-dev/copyright)
endfunction()

# cpp-httplib, the tool's HTTP server: the distribution's compiled library, or the one header of its
# source, without TLS and compression.
function(zvevent_find_httplib)
  add_library(zvevent_httplib INTERFACE)
  if(NOT WIN32)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(CPP_HTTPLIB REQUIRED cpp-httplib IMPORTED_TARGET)
    target_link_libraries(zvevent_httplib INTERFACE PkgConfig::CPP_HTTPLIB)
  else()
    find_path(ZVEVENT_HTTPLIB_INCLUDE httplib.h
      HINTS "${PROJECT_SOURCE_DIR}/build/deps/cpp-httplib" NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    target_include_directories(zvevent_httplib SYSTEM INTERFACE ${ZVEVENT_HTTPLIB_INCLUDE})
    target_link_libraries(zvevent_httplib INTERFACE ws2_32)
    set(licence "${ZVEVENT_HTTPLIB_INCLUDE}/LICENSE")
    if(EXISTS "${licence}")
      zvevent_compiled_in(cpp-httplib "Serves HTTP, in the tool." "${licence}")
    endif()
  endif()
endfunction()
