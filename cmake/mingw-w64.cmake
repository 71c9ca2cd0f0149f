# Cross build for 64-bit Windows with Debian's mingw-w64:
#   cmake -S . -B build-windows -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# The executables must run on any Windows machine: no tuning for this one, and the C++ runtime
# linked in rather than shipped as DLLs beside them.
set(OSTREL_NATIVE OFF CACHE BOOL "" FORCE)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
