// Glue that the record definitions' code generator provides beside the
// record routines: two hooks with nothing to set up or tear down, and the
// argument and result filters of the definitions' null procedure.
#include "pxinfo_xdr.h"
#include "pxinfo_xdr_internal.h"

void pxinfobase_xdr_makeprocs(void) {}

void pxinfobase_xdr_freeprocs(void) {}

bool_t xdr_pxinfobase_program_null_V1_back(XDR *xdrs, int *value) { return pxinfo::xdr::null_proc_back(xdrs, value); }

bool_t xdr_pxinfobase_program_null_V1_over(XDR *xdrs, long *value) { return pxinfo::xdr::null_proc_over(xdrs, value); }
