# Record routines that rpcgen generates from an XDR-language description of
# the records (tests/xdr/records.x): an implementation independent of the
# library's. The record tests check the library's wire forms against them and
# the benchmarks time the library against them. Included by both; the target
# is made once.
include_guard(GLOBAL)

find_program(RPCGEN_EXECUTABLE rpcgen REQUIRED)

set(RECORDS_RPCGEN_DIR ${PROJECT_BINARY_DIR}/rpcgen)
set(RECORDS_X ${PROJECT_SOURCE_DIR}/tests/xdr/records.x)
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
