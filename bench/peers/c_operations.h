/* The operations as C functions, for the bindings of C libraries. Each returns 0, or 1 after
   writing the failure's text to `text`. cffi parses the lines between the markers. */
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* cffi from here */
typedef struct {
  const char *uuid, *address, *zelnic, *hostname, *thumbprint, *subClusterUuid;
  long nodeType;
  int port;
  char isSupportUnicast, isWitness, showsNodeType;
} c_agent;

typedef struct {
  size_t count;
  const c_agent* agents;
} c_agents;

int c_hardware_sku(char* text, size_t capacity);
int c_set_ilo_auth(const char* first, const char* second, char* text, size_t capacity);
int c_kms_status(const char* cluster, const char* key, int seconds, char* good, char* text,
                 size_t capacity);
int c_decrypt_2k_block(const char* dek, unsigned long position, const char* block, char* output,
                       char* text, size_t capacity);
c_agents* c_unicast_agents(int includeExtra, char* text, size_t capacity);
void c_free_agents(c_agents* agents);
/* cffi to here */

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
