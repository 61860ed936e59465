# Shared compiler settings for every target of the project.

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
