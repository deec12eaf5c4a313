# For Debian's arm64, by Debian's cross compiler (g++-aarch64-linux-gnu) and libraries (packages NAME:arm64).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${CMAKE_LIBRARY_ARCHITECTURE}-gcc)
set(CMAKE_CXX_COMPILER ${CMAKE_LIBRARY_ARCHITECTURE}-g++)
# The kernel starts programs of arm64 by qemu-user (packages qemu-user-static and binfmt-support), also those that tests
# start, so what comes before a program only starts it.
set(CMAKE_CROSSCOMPILING_EMULATOR env CACHE STRING "What starts programs of arm64; empty where nothing can")
