# compress_files(LIST FOLDER): compresses the files that the list names into the folder, and makes it name the results.
function(compress_files list folder)
    set(results "")
    file(MAKE_DIRECTORY ${folder})
    foreach(file IN LISTS ${list})
        cmake_path(GET file FILENAME name)
        # Without the time: the same sources make the same package.
        execute_process(COMMAND gzip -9nc ${file} OUTPUT_FILE ${folder}/${name}.gz COMMAND_ERROR_IS_FATAL ANY)
        list(APPEND results ${folder}/${name}.gz)
    endforeach()
    set(${list} ${results} PARENT_SCOPE)
endfunction()
