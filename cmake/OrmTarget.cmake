# How every target of this project is compiled. The settings are private to the target, so that users do not get them.
function(orm_target target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
        $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -Wsign-conversion)  # part of -Wconversion with clang
    endif()
    # Texts of stamps have the rounding of each step, also where the processor can multiply and add in one.
    target_compile_options(${target} PRIVATE -ffp-contract=off)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        target_compile_options(${target} PRIVATE -Wno-restrict)  # false alarms about std::string, fixed in g++ 13
    endif()
    if(TARGET Corva::corva AND NOT TARGET corva)  # the real Corva library: its header, not the stand-in's
        target_include_directories(${target} PRIVATE $<TARGET_PROPERTY:Corva::corva,INTERFACE_INCLUDE_DIRECTORIES>)
    endif()
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    if(ORM_BUILD_PACKAGES)  # so that no path of this machine gets into them, whatever the flags; the last match counts
        target_compile_options(${target} PRIVATE
            -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=./build)
    endif()
    if(ORM_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${ORM_SANITIZE} -fno-sanitize-recover=all
                               -fno-omit-frame-pointer)
        target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)  # indexes of containers and spans
        target_link_options(${target} PRIVATE -fsanitize=${ORM_SANITIZE})
    endif()
    if(ORM_COVERAGE)
        # Threads count at the same time: a lost count would show a branch as not taken.
        target_compile_options(${target} PRIVATE -fprofile-instr-generate -fcoverage-mapping -fcoverage-mcdc
                               -fprofile-update=atomic)
        target_link_options(${target} PRIVATE -fprofile-instr-generate)
    endif()
    set_target_properties(${target} PROPERTIES
        C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
        POSITION_INDEPENDENT_CODE ON)
endfunction()
