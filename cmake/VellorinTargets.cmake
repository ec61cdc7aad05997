# Settings that every target shares, and the two forms in which the folders declare themselves.

add_library(vellorin_settings INTERFACE)
target_compile_options(vellorin_settings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wnon-virtual-dtor
    "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")

if(VELLORIN_WERROR)
    target_compile_options(vellorin_settings INTERFACE -Werror)
endif()

if(VELLORIN_SANITIZE)
    target_compile_options(vellorin_settings INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(vellorin_settings INTERFACE -fsanitize=address,undefined)
endif()

if(VELLORIN_FUZZ)
    target_compile_options(vellorin_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()

# One folder of the product: a static library whose headers are included by their bare names.
function(vellorin_library name)
    add_library(${name} STATIC ${ARGN})
    target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${name} PRIVATE vellorin_settings)
endfunction()

# The services of one host: objects, so that the core's calls find them whatever the order of libraries.
function(vellorin_host name)
    add_library(${name} OBJECT ${ARGN})
    target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${name} PRIVATE vellorin_settings)
endfunction()

function(vellorin_program name)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE vellorin_settings)
endfunction()

# One test program, whose cases ctest lists one by one. Call: vellorin_test(name SOURCES... LIBRARIES ...)
# PREFIX goes before the cases' names, for sources that are in two programs.
function(vellorin_test name)
    cmake_parse_arguments(arg "" "PREFIX" "LIBRARIES" ${ARGN})
    add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PRIVATE vellorin_settings ${arg_LIBRARIES} GTest::gtest_main)
    target_compile_definitions(${name} PRIVATE
        VELLORIN_TEST_DATA="${CMAKE_SOURCE_DIR}/tests/data"
        VELLORIN_BIN="${CMAKE_BINARY_DIR}/bin")
    gtest_discover_tests(${name} TEST_PREFIX "${arg_PREFIX}" DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()
