#include "asn1/files.h"

// Bytes are read as they are anyway.
SshBinaryInput::SshBinaryInput() = default;
SshBinaryInput::~SshBinaryInput() = default;
