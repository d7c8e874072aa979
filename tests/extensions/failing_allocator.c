/* Refuses requests of one size: shows what a helper does without memory, and exactly how much it asks for. */
#include <stddef.h>

extern void *__libc_malloc(size_t size);
extern void *__libc_calloc(size_t count, size_t size);

static size_t refused = (size_t)-1;

void refuse_size(size_t size) { refused = size; }

void *malloc(size_t size) { return size == refused ? NULL : __libc_malloc(size); }

void *calloc(size_t count, size_t size) {
  return count * size == refused ? NULL : __libc_calloc(count, size);
}
