# Debian packages by CPack, one for each component: cmake --preset package, cmake --build build/package, cpack (see
# packaging/build). The preset asks for Debian's own files: copyright, changelog and compressed manual pages.
set(SONAME_PACKAGE libvelmora-dicom${PROJECT_VERSION_MAJOR})   # a library's package is named after its soname

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velmora-dicom)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# Who makes the packages says so in the variables of Debian's own tools.
set(CPACK_PACKAGE_CONTACT "The Velmora_DICOM developers <velmora-dicom@packages.invalid>")
if(DEFINED ENV{DEBFULLNAME} AND DEFINED ENV{DEBEMAIL})
    set(CPACK_PACKAGE_CONTACT "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
endif()
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL library development program)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${SONAME_PACKAGE})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/triggers;${PROJECT_BINARY_DIR}/debian/shlibs")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "DICOM data sets - shared library
 Reads, holds, repairs, checks and writes DICOM and ACR-NEMA data sets. Data
 sets that break the standard in known ways are read all the same, each repair
 is told, and what is written is clean.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvelmora-dicom-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${SONAME_PACKAGE} (= ${PROJECT_VERSION}-1), zlib1g-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "DICOM data sets - development files
 Headers, static libraries, a CMake package and pkg-config files for programs
 that read, repair, check and write DICOM and ACR-NEMA data sets.")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME velmora)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "DICOM data sets - dump, check, repair, convert and edit them
 A program for the command line that shows what is in DICOM and ACR-NEMA files,
 says what is wrong with them, repairs what can be repaired, and brings them in
 line with the template of their kind. It comes with the definition files of
 the modules that it knows.")

if(VELMORA_DEBIAN_FILES)
    set(DEBIAN_FOLDER ${PROJECT_BINARY_DIR}/debian)
    file(WRITE ${DEBIAN_FOLDER}/shlibs
         "libVelmora_DICOM ${PROJECT_VERSION_MAJOR} ${SONAME_PACKAGE} (>= ${PROJECT_VERSION})\n")

    # The license in Debian's form: lines set in by a blank, a dot on those that are empty.
    file(READ ${PROJECT_SOURCE_DIR}/LICENSE license)
    string(REGEX REPLACE "^MIT License\n\nCopyright \\(c\\) ([^\n]*)\n\n" "" license "${license}")
    set(holder "${CMAKE_MATCH_1}")
    string(STRIP "${license}" license)
    string(REGEX REPLACE "\n\n" "\n.\n" license "${license}")
    string(REGEX REPLACE "\n" "\n " license "${license}")
    file(WRITE ${DEBIAN_FOLDER}/copyright
         "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n"
         "Upstream-Name: Velmora_DICOM\n\nFiles: *\nCopyright: ${holder}\nLicense: Expat\n ${license}\n")

    file(TIMESTAMP ${PROJECT_SOURCE_DIR}/CMakeLists.txt day "%a, %d %b %Y %H:%M:%S +0000" UTC)
    file(WRITE ${DEBIAN_FOLDER}/changelog.Debian
         "velmora-dicom (${PROJECT_VERSION}-1) unstable; urgency=medium\n\n  * Packages made by CPack from the sources.\n\n"
         " -- ${CPACK_PACKAGE_CONTACT}  ${day}\n")
    set(changelog ${DEBIAN_FOLDER}/changelog.Debian)
    compress_files(changelog ${DEBIAN_FOLDER})
    foreach(component IN LISTS CPACK_COMPONENTS_ALL)
        string(TOUPPER ${component} upper)
        install(FILES ${DEBIAN_FOLDER}/copyright ${changelog} COMPONENT ${component}
                DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    endforeach()
endif()

include(CPack)
