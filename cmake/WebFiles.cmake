# The pages as driverhost serves them, in the build folder: the files that browsers ask for, and what packs well also
# packed, once for all instead of for each request. No other step stands between web/ and a browser.
set(web_folder ${PROJECT_SOURCE_DIR}/web)
set(web_types html js mjs css json map webmanifest txt svg png jpg webp ico woff2 wav mp3 ogg webm)
list(TRANSFORM web_types PREPEND "${web_folder}/*." OUTPUT_VARIABLE web_patterns)
file(GLOB_RECURSE web_files RELATIVE ${web_folder} CONFIGURE_DEPENDS ${web_patterns})
if(web_files)
    find_program(GZIP gzip REQUIRED)
    list(TRANSFORM web_files PREPEND "${web_folder}/" OUTPUT_VARIABLE web_sources)
    # The list is part of the command, so a file that is removed is removed from the copy, too.
    add_custom_command(
        OUTPUT ${PROJECT_BINARY_DIR}/web.done
        COMMAND ${CMAKE_COMMAND} -DFROM=${web_folder} -DTO=${PROJECT_BINARY_DIR}/web -DGZIP=${GZIP}
                "-DFILES=${web_files}" -P ${PROJECT_SOURCE_DIR}/cmake/PackWeb.cmake
        COMMAND ${CMAKE_COMMAND} -E touch ${PROJECT_BINARY_DIR}/web.done
        DEPENDS ${web_sources} ${PROJECT_SOURCE_DIR}/cmake/PackWeb.cmake
        COMMENT "Packing the pages"
        VERBATIM)
    add_custom_target(web_files ALL DEPENDS ${PROJECT_BINARY_DIR}/web.done)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/web/ DESTINATION share/driverhost/web)
endif()
