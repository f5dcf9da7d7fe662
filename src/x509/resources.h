// The address blocks and AS numbers of RFC 3779. They do not decide whether a certificate is
// accepted, so a decode keeps their bytes, and they are read when a caller asks for them:
//
//   SshX509AddressFamilyCursor families(extra.items);
//   while (families.next())
//     for (SshX509AddressCursor blocks(families.blocks()); blocks.next();) use(blocks.first());
//
// A walk ends at the first item that is of another form, and `failed` is then true. For every
// cursor, the bytes that it walks over must outlive it.
#pragma once

#include "asn1/node.h"
#include "x509/extensions.h"

// SshX509AddressFamilyCursor walks over the families of an IPAddrBlocks, which are the `items` of
// its record.
class SshX509AddressFamilyCursor {
 public:
  explicit SshX509AddressFamilyCursor(Bytes items)
      : work_(SshAsn1Work::for_input(items.size())), items_(items) {}

  [[nodiscard]] bool next();
  [[nodiscard]] bool is_v6() const { return v6_; }
  [[nodiscard]] bool inherited() const { return inherited_; }  // the issuer's, so there are none
  [[nodiscard]] Bytes blocks() const { return blocks_; }       // for SshX509AddressCursor
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  SshAsn1Work work_;
  Bytes items_, blocks_;
  bool v6_ = false, inherited_ = false, failed_ = false;
};

// SshX509AddressCursor walks over the blocks of a family. A block is a prefix, or a range from
// first to last.
class SshX509AddressCursor {
 public:
  explicit SshX509AddressCursor(Bytes blocks)
      : work_(SshAsn1Work::for_input(blocks.size())), blocks_(blocks) {}

  [[nodiscard]] bool next();
  [[nodiscard]] bool is_prefix() const { return prefix_; }
  [[nodiscard]] const SshAsn1Bits &first() const { return first_; }  // of a prefix: its bits
  [[nodiscard]] const SshAsn1Bits &last() const { return last_; }    // of a range
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  SshAsn1Work work_;
  Bytes blocks_;
  SshAsn1Bits first_, last_;
  bool prefix_ = false, failed_ = false;
};

// SshX509AsNumbers is one of the two lists of an ASIdentifiers.
struct SshX509AsNumbers {
  bool given = false, inherited = false;
  Bytes numbers;  // for SshX509AsNumberCursor
};

// ssh_x509_as_numbers_read reads an ASIdentifiers: AS numbers and routing domains. False if it is
// none.
[[nodiscard]] bool ssh_x509_as_numbers_read(Bytes value, SshX509AsNumbers *numbers,
                                            SshX509AsNumbers *domains);

// SshX509AsNumberCursor walks over a list of numbers, and of ranges from first to last.
class SshX509AsNumberCursor {
 public:
  explicit SshX509AsNumberCursor(Bytes numbers)
      : work_(SshAsn1Work::for_input(numbers.size())), numbers_(numbers) {}

  [[nodiscard]] bool next();
  [[nodiscard]] bool is_range() const { return range_; }
  [[nodiscard]] const SshMpInt &first() const { return first_; }
  [[nodiscard]] const SshMpInt &last() const { return last_; }  // of a range
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  SshAsn1Work work_;
  Bytes numbers_;
  SshMpInt first_, last_;
  bool range_ = false, failed_ = false;
};
