# What the toolchain files here share: Debian's cross compiler, and libraries out of build/sysroot-ARCH (see
# cmake/sysroot.sh). FOREIGN_ARCH is Debian's name of the architecture, FOREIGN_TRIPLET begins the compiler's name,
# FOREIGN_LIBRARIES is the folder of the libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${FOREIGN_TRIPLET}-g++)

set(FOREIGN_ROOT ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot-${FOREIGN_ARCH})
cmake_path(NORMAL_PATH FOREIGN_ROOT)
set(CMAKE_FIND_ROOT_PATH ${FOREIGN_ROOT})
set(CMAKE_LIBRARY_ARCHITECTURE ${FOREIGN_LIBRARIES})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CXX_FLAGS_INIT "-isystem ${FOREIGN_ROOT}/usr/include/${FOREIGN_LIBRARIES}")   # zconf.h
