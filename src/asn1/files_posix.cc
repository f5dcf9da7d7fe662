#include "asn1/files.h"

// Octets are read as they are anyway.
SshBinaryInput::SshBinaryInput() = default;
SshBinaryInput::~SshBinaryInput() = default;
