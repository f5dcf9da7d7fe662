#include <malloc.h>

#include "util/mem.h"

size_t ssh_mem_block_size(void *block) { return _msize(block); }

void ssh_mem_prefer_large_pages(void *, size_t) {}  // large pages need a privilege there
