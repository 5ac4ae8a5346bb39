/* A host written in plain C. */
#ifndef TESTS_API_C_HOST_H
#define TESTS_API_C_HOST_H

#include "aapi/aapi.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Drives a table as a host does, every kind of record in hand. Returns the number of the first step with another status
 * than it should have, 0 when all went well; log_lines counts the lines logged. */
int drive_as_c_host(const aapi_plugin_info_t* plugin, unsigned* log_lines);

#ifdef __cplusplus
}
#endif

#endif
