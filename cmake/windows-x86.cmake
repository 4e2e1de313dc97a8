# The same for 32-bit Windows.
set(KELVANE_PROCESSOR i686)
set(KELVANE_WINE "${CMAKE_CURRENT_LIST_DIR}/../tools/wine;--32")
# Floating-point numbers are computed with SSE2, as on 64-bit Windows: the old coprocessor rounds twice. Hosts call
# with a stack that is aligned for 4 bytes only, SSE needs 16.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse -mstackrealign")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
include("${CMAKE_CURRENT_LIST_DIR}/windows.cmake")
