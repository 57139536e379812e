# 32 bits, little-endian. An x86-64 kernel runs these programs itself, given where their libraries are.
set(CMAKE_SYSTEM_PROCESSOR i386)
set(FOREIGN_ARCH i386)
set(FOREIGN_TRIPLET i686-linux-gnu)
set(FOREIGN_LIBRARIES i386-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/foreign.cmake)

set(FOREIGN_PATH ${FOREIGN_ROOT}/lib/${FOREIGN_LIBRARIES}:${FOREIGN_ROOT}/usr/lib/${FOREIGN_LIBRARIES})
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--dynamic-linker,${FOREIGN_ROOT}/lib/ld-linux.so.2 -Wl,-rpath,${FOREIGN_PATH}")
