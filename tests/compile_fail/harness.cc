// The controls of check.sh itself, on two faults any compiler names: a correct use compiles, a
// wrong one is refused for the reason that is expected.
#include "util/bytes.h"

// expect: success
static_assert(1 + 1 == 2, "the sum is wrong");

// expect: kUndeclared
int wrong_name() { return kUndeclared; }

// expect: the sum is wrong
static_assert(1 + 1 == 3, "the sum is wrong");
