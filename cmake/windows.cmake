# Cross-builds for Windows with mingw; what is built runs under Wine. For 64-bit Windows unless windows-x86.cmake
# includes it.
if(NOT KELVANE_PROCESSOR)
  set(KELVANE_PROCESSOR x86_64)
  set(KELVANE_WINE "${CMAKE_CURRENT_LIST_DIR}/../tools/wine")
endif()
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${KELVANE_PROCESSOR})
set(mingw ${KELVANE_PROCESSOR}-w64-mingw32)
set(CMAKE_C_COMPILER ${mingw}-gcc-posix)
set(CMAKE_CXX_COMPILER ${mingw}-g++-posix)
set(CMAKE_RC_COMPILER ${mingw}-windres)
set(CMAKE_CROSSCOMPILING_EMULATOR "${KELVANE_WINE}")

set(CMAKE_FIND_ROOT_PATH /usr/${mingw})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
