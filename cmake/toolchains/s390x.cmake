# 64 bits, big-endian. Programs are run by qemu.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(FOREIGN_ARCH s390x)
set(FOREIGN_TRIPLET s390x-linux-gnu)
set(FOREIGN_LIBRARIES s390x-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/foreign.cmake)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x -L ${FOREIGN_ROOT})
