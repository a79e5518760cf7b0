# cmake -DFROM=FOLDER -DTO=FOLDER -DGZIP=PROGRAM -DFILES=LIST -P PackWeb.cmake: makes TO anew of the files in FROM, with
# FILE.gz beside each text. A host that reads TO meanwhile finds it whole, but for the moment between the last two lines.
set(new ${TO}.new)
file(REMOVE_RECURSE ${new})
foreach(name IN LISTS FILES)
    get_filename_component(folder ${name} DIRECTORY)
    file(COPY ${FROM}/${name} DESTINATION ${new}/${folder})
    if(name MATCHES "\\.(html|js|mjs|css|json|map|webmanifest|txt|svg|wav)$")
        # Without name and time in it, the same page packs to the same bytes.
        execute_process(COMMAND ${GZIP} -9 --no-name --keep ${new}/${name} RESULT_VARIABLE failed)
        if(failed)
            message(FATAL_ERROR "${name} could not be packed")
        endif()
    endif()
endforeach()
file(REMOVE_RECURSE ${TO})
file(RENAME ${new} ${TO})
