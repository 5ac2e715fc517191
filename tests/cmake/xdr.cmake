# The record tests check the library's record routines against routines that
# rpcgen generates from an XDR-language description of the same records
# (tests/xdr/records.x), an implementation independent of the library's.
include(${PROJECT_SOURCE_DIR}/cmake/records_rpcgen.cmake)

add_library(xdr_test_extra INTERFACE)
target_link_libraries(xdr_test_extra INTERFACE records_rpcgen)
