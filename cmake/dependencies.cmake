# The libraries this project builds on. On Linux they are the distribution's packages, on Windows
# itself those of vcpkg.json. For the cross build ./dev unpacks the distribution's source packages
# below build/deps, and they are compiled here.

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
endif()

# The HTTP client: Windows has its own. 7.87 is the first libcurl that does not wait for a name server
# beyond the request's time-out.
add_library(zvevent_http INTERFACE)
if(WIN32)
  target_link_libraries(zvevent_http INTERFACE winhttp)
else()
  find_package(CURL 7.87 REQUIRED)
  target_link_libraries(zvevent_http INTERFACE CURL::libcurl ${CMAKE_DL_LIBS})
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
