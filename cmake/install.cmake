# What `cmake --install` puts where, by component:
#     library      the shared library
#     development  the static libraries, headers with their folders, a CMake package and pkg-config files
#     program      velmora with its definitions, manual pages and completions
# Nothing that is installed knows where: the tree can be moved as a whole.
include(CMakePackageConfigHelpers)
include(packaging/compress.cmake)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
set(CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Velmora_DICOM)

install(TARGETS Velmora_DICOM ${STATIC_LIBRARY} EXPORT Velmora_DICOM_targets
        LIBRARY COMPONENT library NAMELINK_COMPONENT development)
install(EXPORT Velmora_DICOM_targets NAMESPACE Velmora_DICOM:: DESTINATION ${CONFIG_DIR})
if(TARGET velmora_host)
    install(TARGETS velmora_host EXPORT Velmora_DICOM_host_targets)
    install(EXPORT Velmora_DICOM_host_targets NAMESPACE Velmora_DICOM:: DESTINATION ${CONFIG_DIR})
    install(FILES host/velmora_host.h host/velmora_save.h host/velmora_conform.h
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmora/host)
endif()
foreach(folder IN LISTS LIBRARY_FOLDERS)
    file(GLOB headers ${folder}/*.h)
    list(FILTER headers EXCLUDE REGEX "_internal\\.h$")
    install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmora/${folder})
endforeach()

configure_package_config_file(cmake/Velmora_DICOMConfig.cmake.in Velmora_DICOMConfig.cmake
                              INSTALL_DESTINATION ${CONFIG_DIR})
write_basic_package_version_file(Velmora_DICOMConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/Velmora_DICOMConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/Velmora_DICOMConfigVersion.cmake DESTINATION ${CONFIG_DIR})

# The prefix is where the pkg-config file stands, up as many folders as it stands deep. Folders that were given whole
# stay where they were meant to be.
set(PC_PREFIX ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    string(REGEX REPLACE "[^/]+" ".." up "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
    set(PC_PREFIX "\${pcfiledir}/${up}")
endif()
foreach(folder IN ITEMS LIBDIR INCLUDEDIR)
    set(PC_${folder} ${CMAKE_INSTALL_${folder}})
    if(NOT IS_ABSOLUTE "${PC_${folder}}")
        set(PC_${folder} "\${prefix}/${PC_${folder}}")
    endif()
endforeach()
foreach(library IN ITEMS velmora_dicom velmora_host)
    if(library STREQUAL "velmora_dicom" OR TARGET ${library})
        configure_file(cmake/${library}.pc.in ${library}.pc @ONLY)
        install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
    endif()
endforeach()

if(TARGET velmora)
    install(TARGETS velmora RUNTIME COMPONENT program)
    install(DIRECTORY definitions/ DESTINATION ${CMAKE_INSTALL_DATADIR}/velmora/definitions COMPONENT program
            FILES_MATCHING PATTERN "*.txt" PATTERN tools EXCLUDE)
    foreach(section IN ITEMS 1 5)
        file(GLOB manuals CONFIGURE_DEPENDS docs/man/*.${section})
        if(VELMORA_DEBIAN_FILES)
            compress_files(manuals ${PROJECT_BINARY_DIR}/debian)
        endif()
        install(FILES ${manuals} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT program)
    endforeach()
    # bash, zsh and fish each look into a folder of their own.
    file(GLOB completions CONFIGURE_DEPENDS completion/*)
    set(ZSH_FOLDER zsh/site-functions)
    if(VELMORA_DEBIAN_FILES)
        set(ZSH_FOLDER zsh/vendor-completions)   # where Debian's zsh looks below /usr
    endif()
    foreach(completion IN LISTS completions)
        if(completion MATCHES "/_velmora$")
            install(FILES ${completion} DESTINATION ${CMAKE_INSTALL_DATADIR}/${ZSH_FOLDER} COMPONENT program)
        elseif(completion MATCHES "\\.fish$")
            install(FILES ${completion} DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
                    COMPONENT program)
        else()
            install(FILES ${completion} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME velmora
                    COMPONENT program)
        endif()
    endforeach()
endif()

file(GLOB documents docs/*.md)
if(NOT VELMORA_DEBIAN_FILES)
    list(APPEND documents LICENSE)   # a Debian package has the file copyright
endif()
install(FILES README.md ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR})
