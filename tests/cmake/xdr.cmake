# The record tests check the library's record routines against routines that
# rpcgen generates from an XDR-language description of the same records
# (tests/xdr/records.x), an implementation independent of the library's.
find_program(RPCGEN_EXECUTABLE rpcgen REQUIRED)

set(RECORDS_RPCGEN_DIR ${CMAKE_CURRENT_BINARY_DIR}/rpcgen)
set(RECORDS_X ${CMAKE_CURRENT_SOURCE_DIR}/xdr/records.x)
# rpcgen names the header in the generated #include after its input path, so
# it runs on a copy beside its outputs.
add_custom_command(
  OUTPUT ${RECORDS_RPCGEN_DIR}/gx_records.h ${RECORDS_RPCGEN_DIR}/gx_records_xdr.c
  COMMAND ${CMAKE_COMMAND} -E make_directory ${RECORDS_RPCGEN_DIR}
  COMMAND ${CMAKE_COMMAND} -E copy ${RECORDS_X} ${RECORDS_RPCGEN_DIR}/gx_records.x
  COMMAND ${CMAKE_COMMAND} -E remove -f gx_records.h gx_records_xdr.c
  COMMAND ${RPCGEN_EXECUTABLE} -h -o gx_records.h gx_records.x
  COMMAND ${RPCGEN_EXECUTABLE} -c -o gx_records_xdr.c gx_records.x
  WORKING_DIRECTORY ${RECORDS_RPCGEN_DIR}
  DEPENDS ${RECORDS_X}
  COMMENT "rpcgen: independent record routines from records.x"
  VERBATIM)

add_library(records_rpcgen STATIC ${RECORDS_RPCGEN_DIR}/gx_records_xdr.c ${RECORDS_RPCGEN_DIR}/gx_records.h)
target_include_directories(records_rpcgen PUBLIC ${RECORDS_RPCGEN_DIR})
target_link_libraries(records_rpcgen PUBLIC PkgConfig::TIRPC)
# Generated code: its own style, not ours.
target_compile_options(records_rpcgen PRIVATE -w)

add_library(xdr_test_extra INTERFACE)
target_link_libraries(xdr_test_extra INTERFACE records_rpcgen)
add_library(kv_pkt_xdr_test_extra INTERFACE)
target_link_libraries(kv_pkt_xdr_test_extra INTERFACE records_rpcgen)
target_include_directories(xdr_test_extra INTERFACE ${CMAKE_CURRENT_SOURCE_DIR}/xdr)
target_include_directories(kv_pkt_xdr_test_extra INTERFACE ${CMAKE_CURRENT_SOURCE_DIR}/xdr)
