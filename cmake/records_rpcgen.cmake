# Record routines that rpcgen generates from an XDR-language description of
# the records (tests/xdr/records.x): an implementation independent of the
# library's. The record tests check the library's wire forms against them and
# the benchmarks time the library against them. Included by both; the target
# is made once.
include_guard(GLOBAL)

find_program(RPCGEN_EXECUTABLE rpcgen REQUIRED)

# pxinfo_rpcgen_library(TARGET X-FILE BASENAME DIR): a static library of the
# routines rpcgen makes from X-FILE, with BASENAME.h in DIR on its users'
# include path. rpcgen names the header in the generated #include after its
# input path, so it runs on a copy beside its outputs.
function(pxinfo_rpcgen_library target x_file base dir)
  add_custom_command(
    OUTPUT ${dir}/${base}.h ${dir}/${base}_xdr.c
    COMMAND ${CMAKE_COMMAND} -E make_directory ${dir}
    COMMAND ${CMAKE_COMMAND} -E copy ${x_file} ${dir}/${base}.x
    COMMAND ${CMAKE_COMMAND} -E remove -f ${base}.h ${base}_xdr.c
    COMMAND ${RPCGEN_EXECUTABLE} -h -o ${base}.h ${base}.x
    COMMAND ${RPCGEN_EXECUTABLE} -c -o ${base}_xdr.c ${base}.x
    WORKING_DIRECTORY ${dir}
    DEPENDS ${x_file}
    COMMENT "rpcgen: independent record routines from ${x_file}"
    VERBATIM)
  add_library(${target} STATIC ${dir}/${base}_xdr.c ${dir}/${base}.h)
  target_include_directories(${target} PUBLIC ${dir})
  target_link_libraries(${target} PUBLIC PkgConfig::TIRPC)
  # Generated code: its own style, not ours.
  target_compile_options(${target} PRIVATE -w)
endfunction()

pxinfo_rpcgen_library(records_rpcgen ${PROJECT_SOURCE_DIR}/tests/xdr/records.x gx_records ${PROJECT_BINARY_DIR}/rpcgen)
