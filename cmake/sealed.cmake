# The static library as hosts get it: one object, in which all names but the exported ones are its own. A host may then
# call its functions as it likes. The host library, which is built here too, loads with a few names that hosts do not see.
set(STATIC_LIBRARY Velmora_DICOM_static)
if(CMAKE_LINKER AND CMAKE_OBJCOPY AND NOT APPLE AND NOT VELMORA_SANITIZE)
    set(STATIC_LIBRARY Velmora_DICOM_sealed)
    set(object ${CMAKE_CURRENT_BINARY_DIR}/sealed/Velmora_DICOM.o)
    file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/sealed)
    add_custom_command(OUTPUT ${object} DEPENDS velmora_objects $<TARGET_OBJECTS:velmora_objects> COMMAND_EXPAND_LISTS
                       COMMAND ${CMAKE_LINKER} -r -o ${object} $<TARGET_OBJECTS:velmora_objects>
                       COMMAND ${CMAKE_OBJCOPY} --localize-hidden ${object}
                       COMMAND ${CMAKE_OBJCOPY} --wildcard "--globalize-symbol=*taking_*"
                               "--globalize-symbol=*node_heap_take_slowly*" ${object} VERBATIM)
    add_library(${STATIC_LIBRARY} STATIC ${object})
    set_target_properties(${STATIC_LIBRARY} PROPERTIES LINKER_LANGUAGE CXX OUTPUT_NAME Velmora_DICOM
                          ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/sealed EXPORT_NAME Velmora_DICOM_static)
    target_compile_features(${STATIC_LIBRARY} INTERFACE cxx_std_11)
    target_include_directories(${STATIC_LIBRARY} INTERFACE
                               $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velmora>)
endif()
