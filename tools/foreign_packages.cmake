# The packages of a build for another kind of machine than this one: what find_package would find
# here is compiled for here. Header-only libraries are taken as they are, each from a folder that
# shows it alone, since the compiler must not see this machine's other headers. GoogleTest is built
# from its sources with the compiler of the build.
if(CMAKE_VERSION VERSION_LESS 3.24)
  message(FATAL_ERROR "a build for another kind of machine needs CMake 3.24")
endif()
set(KWPKI_GOOGLETEST /usr/src/googletest CACHE PATH "Sources of GoogleTest")

set(shown ${PROJECT_BINARY_DIR}/include)
file(MAKE_DIRECTORY ${shown})

# found makes find_package(name) content with the targets that are there already.
function(found name)
  string(TOLOWER ${name} file)
  file(WRITE ${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/${file}-config.cmake "")
endfunction()

# add_headers shows the folder with headers of a package.
function(add_headers package target folder)
  find_path(KWPKI_${package}_HEADERS ${folder} PATHS /usr/include /usr/local/include REQUIRED
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  file(CREATE_LINK ${KWPKI_${package}_HEADERS}/${folder} ${shown}/${folder} SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} INTERFACE ${shown})
  found(${package})
endfunction()

if(KWPKI_TOOLS)
  add_headers(CLI11 CLI11::CLI11 CLI)
  # Its own source is not there; compiled in each file that uses it, it would take most of the time.
  set(source ${PROJECT_BINARY_DIR}/fmt.cc)
  file(CONFIGURE OUTPUT ${source} CONTENT [[
#include <fmt/format-inl.h>
template char fmt::detail::decimal_point_impl(locale_ref);
template fmt::detail::thousands_sep_result<char> fmt::detail::thousands_sep_impl(locale_ref);
]])
  add_headers(fmt kwpki_fmt_headers fmt)
  add_library(kwpki_fmt STATIC ${source})
  target_link_libraries(kwpki_fmt PUBLIC kwpki_fmt_headers)
  add_library(fmt::fmt ALIAS kwpki_fmt)
endif()
if(KWPKI_TOOLS OR KWPKI_TESTS)
  add_headers(nlohmann_json nlohmann_json::nlohmann_json nlohmann)
endif()
if(KWPKI_TESTS)
  set(INSTALL_GTEST OFF)
  add_subdirectory(${KWPKI_GOOGLETEST} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  foreach(target gtest gtest_main gmock gmock_main)
    target_compile_options(${target} PRIVATE -O0)  # as the tests
  endforeach()
  found(GTest)
endif()
