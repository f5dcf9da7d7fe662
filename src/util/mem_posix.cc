#include <malloc.h>

#include "util/mem.h"

size_t ssh_mem_block_size(void *block) { return malloc_usable_size(block); }
