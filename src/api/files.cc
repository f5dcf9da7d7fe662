// Reading of files, as they are or as PEM. What a file may be is decided in asn1/files.h.
#include "asn1/files.h"

#include "kwpki.h"

KwPkiStatus KWPKI_CALL KwPkiReadFile(const char *path, uint32_t pem, uint8_t **data,
                                     uint32_t *length) {
  if (!data || !length) return KWPKI_FILE_UNREADABLE;

  uint8_t *block = nullptr;
  size_t size = 0;
  const auto read = pem ? ssh_read_file_base64 : ssh_read_file;
  if (!read(path, &block, &size)) return KWPKI_FILE_UNREADABLE;
  *data = block;
  *length = static_cast<uint32_t>(size);  // no block is larger than SSH_XMALLOC_MAX
  return KWPKI_OK;
}
