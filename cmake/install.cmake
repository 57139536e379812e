# What `cmake --install` puts where: libraries, headers with their folders, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS Velmora_DICOM Velmora_DICOM_static EXPORT Velmora_DICOM_targets)
foreach(folder IN LISTS LIBRARY_FOLDERS)
    file(GLOB headers ${folder}/*.h)
    list(FILTER headers EXCLUDE REGEX "_internal\\.h$")
    install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmora/${folder})
endforeach()

install(EXPORT Velmora_DICOM_targets NAMESPACE Velmora_DICOM::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Velmora_DICOM)
configure_package_config_file(cmake/Velmora_DICOMConfig.cmake.in Velmora_DICOMConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Velmora_DICOM)
write_basic_package_version_file(Velmora_DICOMConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/Velmora_DICOMConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/Velmora_DICOMConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Velmora_DICOM)

configure_file(cmake/velmora_dicom.pc.in velmora_dicom.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/velmora_dicom.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(DIRECTORY definitions/ DESTINATION ${CMAKE_INSTALL_DATADIR}/velmora/definitions FILES_MATCHING PATTERN "*.txt")
