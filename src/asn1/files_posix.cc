#include "asn1/files.h"

// These systems give the bytes of standard input as they are, so there is no mode to change.
SshBinaryInput::SshBinaryInput() = default;
SshBinaryInput::~SshBinaryInput() = default;
