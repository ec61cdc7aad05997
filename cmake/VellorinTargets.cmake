# Settings that every target shares, and the two forms in which the folders declare themselves.

add_library(vellorin_settings INTERFACE)
target_compile_options(vellorin_settings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wnon-virtual-dtor)
if(NOT VELLORIN_COVERAGE) # the counters are matched with their sources by whole paths
    target_compile_options(vellorin_settings INTERFACE "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")
endif()

if(VELLORIN_WERROR)
    target_compile_options(vellorin_settings INTERFACE -Werror)
endif()

# What makes a fault in the code harder to use, in every preset. tests/programs/check_hardening.py looks for each of them
# in the finished programs.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i[3-6]86)$")
    set(VELLORIN_CONTROL_FLOW -fcf-protection=full) # calls and jumps by address meet a landing place, or end the program
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    set(VELLORIN_CONTROL_FLOW -mbranch-protection=standard)
endif()
target_compile_options(vellorin_settings INTERFACE
    -fPIE # with -pie: programs lie at addresses of chance
    -fstack-protector-strong # a return address that was written over ends the program
    -fstack-clash-protection # a frame can't leap over the page that guards the stack
    ${VELLORIN_CONTROL_FLOW})
target_compile_definitions(vellorin_settings INTERFACE _GLIBCXX_ASSERTIONS) # an index out of range ends the program
target_link_options(vellorin_settings INTERFACE
    -pie
    LINKER:-z,relro,-z,now # the tables of addresses are read-only before main
    LINKER:-z,noexecstack)
if(NOT VELLORIN_SANITIZE)
    # Lengths that the compiler knows are compared at run time. That needs optimisation; and the sanitizers, which look
    # at the same calls more closely, know the plain ones alone.
    target_compile_options(vellorin_settings INTERFACE
        $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=3>)
endif()

if(VELLORIN_SANITIZE)
    target_compile_options(vellorin_settings INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(vellorin_settings INTERFACE -fsanitize=address,undefined)
endif()

if(VELLORIN_COVERAGE)
    target_compile_options(vellorin_settings INTERFACE --coverage -fprofile-abs-path)
    target_link_options(vellorin_settings INTERFACE --coverage)
endif()

if(VELLORIN_FUZZ)
    target_compile_options(vellorin_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()

# ICU, for whoever uses it. A program that starts fast (below) gets it from an archive.
find_package(ICU REQUIRED COMPONENTS i18n uc)
find_library(VELLORIN_ICU_ARCHIVE libicuuc.a)
find_library(VELLORIN_ICU_DATA_ARCHIVE libicudata.a)
set(starts_fast $<BOOL:$<TARGET_PROPERTY:VELLORIN_STARTS_FAST>>)
add_library(vellorin_icu INTERFACE)
target_link_libraries(vellorin_icu INTERFACE
    $<IF:${starts_fast},${VELLORIN_ICU_ARCHIVE},ICU::uc> $<${starts_fast}:${VELLORIN_ICU_DATA_ARCHIVE}>)

# The program holds what it uses of ICU and the C++ runtime. To find and to bind them at each start takes longer than a
# small run; docs/performance.md has the figures. Both or neither: ICU's shared library would load a second runtime.
function(vellorin_starts_fast program)
    if(VELLORIN_SELF_CONTAINED AND VELLORIN_ICU_ARCHIVE AND VELLORIN_ICU_DATA_ARCHIVE)
        set_target_properties(${program} PROPERTIES VELLORIN_STARTS_FAST ON)
        target_link_options(${program} PRIVATE -static-libstdc++ -static-libgcc LINKER:--as-needed,--gc-sections)
    endif()
endfunction()

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
    if(VELLORIN_SANITIZE) # the tests' own sources: to optimise what the sanitizers add takes longer than to run it
        target_compile_options(${name} PRIVATE -O0)
    endif()
    gtest_discover_tests(${name} TEST_PREFIX "${arg_PREFIX}" DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()
