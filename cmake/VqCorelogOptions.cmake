# Shared compiler settings for every target of the project.

include(CheckCXXCompilerFlag)

# Warnings for one target; -Werror only when VQ_CORELOG_WERROR is on (CI turns it on).
function(vq_corelog_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
    if(VQ_CORELOG_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

# Source paths in __FILE__ relative to the repository, so precondition messages read
# "src/eod/serializable.cpp:123: read_pos is negative" wherever the tree is checked out.
function(vq_corelog_relative_file_macro target)
    target_compile_options(${target} PRIVATE "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
endfunction()

# Code generation for the shared library, each option only where the compiler knows it: calls
# inside the library go straight to its own functions (no interposition by another module), so
# they may be inlined and skip the procedure linkage table; thread-local state is reached
# through TLS descriptors, which cost little more than a load while the library stays loadable
# at run time.
function(vq_corelog_set_speed_options target)
    foreach(flag IN ITEMS -fno-semantic-interposition -mtls-dialect=gnu2)
        string(MAKE_C_IDENTIFIER "VQ_CXX_HAS${flag}" known)
        check_cxx_compiler_flag(${flag} ${known})
        if(${known})
            target_compile_options(${target} PRIVATE ${flag})
        endif()
    endforeach()
endfunction()
