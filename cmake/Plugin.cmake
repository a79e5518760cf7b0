# add_plugin(NAME SOURCES...): a driver plug-in that exports GetCreationFunc and nothing else.
function(add_plugin name)
    add_library(${name} MODULE ${ARGN})
    set_target_properties(${name} PROPERTIES
        PREFIX ""
        LIBRARY_OUTPUT_DIRECTORY ${PLUGIN_OUTPUT_DIRECTORY}
        LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/plugin.version)
    target_link_libraries(${name} PRIVATE dvhost)
    target_link_options(${name} PRIVATE
        -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/plugin.version)
    # The runtime of a sanitizer or fuzzer comes with the program that loads the plug-in.
    if(NOT SANITIZE AND NOT FUZZ)
        target_link_options(${name} PRIVATE -Wl,--no-undefined)
    endif()
endfunction()
