/* Test seams of the host sparse engine beyond vrt_sparse_testing_force_status: sweeps that fail
 * each engine call of a routine in turn. */
#ifndef VRT_HOST_SPARSE_TESTING_H
#define VRT_HOST_SPARSE_TESTING_H

#include "vrt/host_sparse.h"

#ifdef __cplusplus
extern "C" {
#endif

/* As vrt_sparse_testing_force_status, after `skip` calls that run as usual. */
void vrt_sparse_testing_force_status_after(int skip, sparse_status_t status, int count);
/* Calls of the engine's functions (except destroy) since the start, forced ones included: the
 * positions `skip` counts. */
long vrt_sparse_testing_calls(void);

#ifdef __cplusplus
}
#endif

#endif
