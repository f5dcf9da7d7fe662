/** @namespace kwpki
 *  KwPki for C++17 and later: classes that own what kwpki.h hands out. */
/** @file kwpki.hpp
 *  KwPki for C++17 and later: classes that own what kwpki.h hands out, over the same libraries.
 *  examples/search.cc uses all of them.
 *
 *  - A function that can fail returns a Result, or an Outcome where there is nothing to hold. It is
 *    true if all went well; nothing is thrown unless value() is called on one that is not.
 *  - Handles, texts and blocks move and are not copied. One that was moved from, like a null handle
 *    in C, fails with Error::Failed (or Error::NotPosted, of a request).
 *  - A callback is any callable. What it holds is kept in one block of memory until its reply came,
 *    and destroyed exactly once: after the call; before the request returns, where that fails; when
 *    the program ends, where no reply came that the callback could be called with. A function, or a
 *    lambda that captures nothing, takes no memory. A callback runs on the thread that called
 *    process_reply and must not throw.
 *  - Threads are as in kwpki.h (convention 7). */
#ifndef KWPKI_HPP
#define KWPKI_HPP

#include <kwpki.h>
#include <kwpki_errors.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

namespace kwpki {

/** Error names the statuses of the library. A std::error_code of the category has also any other
 *  value that the management agent answered with. */
enum class Error : uint32_t {
  Refused = KWPKI_REFUSED,
  RefusedSevere = KWPKI_REFUSED_SEVERE,
  Failed = KWPKI_FAILED,
  NotPosted = KWPKI_NOT_POSTED,
  FileUnreadable = KWPKI_FILE_UNREADABLE,
  NoPublicKey = KWPKI_NO_PUBLIC_KEY,
  KeyFailed = KWPKI_KEY_FAILED
};

/** ErrorText is what is known of a status: its macro, its meaning and what mostly causes it. */
struct ErrorText {
  uint32_t status;
  const char *name, *meaning, *cause;
};

/** error_texts are the rows that `kwpki error` shows. */
#define KWPKI_ROW(name, meaning, cause) ErrorText{name, #name, meaning, cause},
inline constexpr ErrorText error_texts[] = {KWPKI_ERRORS(KWPKI_ROW)};
#undef KWPKI_ROW

/** find_error_text gives the row of a status, or null for one of the agent's own. */
constexpr const ErrorText *find_error_text(uint32_t status) noexcept {
  for (const ErrorText &row : error_texts) {
    if (row.status == status) return &row;
  }
  return nullptr;
}

/** category is that of the library's statuses. */
inline const std::error_category &category() noexcept {
  class Category final : public std::error_category {
   public:
    const char *name() const noexcept override { return "kwpki"; }
    std::string message(int value) const override {
      if (const ErrorText *row = find_error_text(static_cast<uint32_t>(value))) return row->meaning;
      return "status " + std::to_string(static_cast<uint32_t>(value)) + " of the management agent";
    }
  };
  static const Category instance;
  return instance;
}

/** make_error_code makes the error code of a status; that of KWPKI_OK is false. */
inline std::error_code make_error_code(KwPkiStatus status) noexcept {
  return {static_cast<int>(status), category()};
}
inline std::error_code make_error_code(Error error) noexcept {
  return make_error_code(static_cast<KwPkiStatus>(error));
}

}  // namespace kwpki

/** @cond */
template <>
struct std::is_error_code_enum<kwpki::Error> : std::true_type {};
/** @endcond */

namespace kwpki {

/** Outcome says whether a function did what it was asked for: it is true if it did. */
class [[nodiscard]] Outcome {
 public:
  /** This is the outcome of a function of C. */
  explicit Outcome(KwPkiStatus status = KWPKI_OK) noexcept : status_(status) {}

  /** It is true for success. */
  explicit operator bool() const noexcept { return status_ == KWPKI_OK; }
  /** error gives the reason of a failure. */
  std::error_code error() const noexcept { return make_error_code(status_); }
#if defined(__cpp_exceptions) || defined(_CPPUNWIND)
  /** value throws std::system_error if there was a failure. */
  void value() const {
    if (!*this) throw std::system_error(error());
  }
#endif

 private:
  KwPkiStatus status_;
};

/** Result<T> holds a T, or the reason why there is none. */
template <class T>
class [[nodiscard]] Result : public Outcome {
 public:
  /** This is a success, which takes over the T. */
  Result(T &&value) noexcept : value_(std::move(value)) {}
  /** This is a failure; the T in it is empty. */
  explicit Result(KwPkiStatus status) noexcept : Outcome(status), value_() {}

  /** The T of a Result that is true; an empty one else. */
  T &operator*() &noexcept { return value_; }
  const T &operator*() const &noexcept { return value_; }
  T &&operator*() &&noexcept { return std::move(value_); }
  T *operator->() noexcept { return &value_; }
  const T *operator->() const noexcept { return &value_; }
#if defined(__cpp_exceptions) || defined(_CPPUNWIND)
  /** value gives the T, or throws std::system_error. */
  T &value() & { return Outcome::value(), value_; }
  const T &value() const & { return Outcome::value(), value_; }
  T value() && { return Outcome::value(), std::move(value_); }
#endif

 private:
  T value_;
};

/** Bytes shows bytes that another owns: those of any contiguous container of single bytes. */
class Bytes {
 public:
  constexpr Bytes() noexcept = default;
  constexpr Bytes(const uint8_t *data, size_t size) noexcept : data_(data), size_(size) {}
  /** This shows the bytes of a std::string, std::vector or the like, which must outlive it. */
  template <class C, class Byte = std::remove_pointer_t<decltype(std::declval<const C &>().data())>,
            class = std::enable_if_t<sizeof(Byte) == 1 && !std::is_base_of_v<Bytes, C>>>
  Bytes(const C &container) noexcept
      : data_(reinterpret_cast<const uint8_t *>(container.data())), size_(container.size()) {}

  constexpr const uint8_t *data() const noexcept { return data_; }
  constexpr size_t size() const noexcept { return size_; }
  constexpr bool empty() const noexcept { return size_ == 0; }
  constexpr const uint8_t *begin() const noexcept { return data_; }
  constexpr const uint8_t *end() const noexcept { return data_ + size_; }
  constexpr uint8_t operator[](size_t index) const noexcept { return data_[index]; }

 private:
  const uint8_t *data_ = nullptr;
  size_t size_ = 0;
};

/** CString is null-terminated text as an argument, from wherever it comes; null is allowed. */
class CString {
 public:
  constexpr CString(const char *text) noexcept : text_(text) {}
  CString(const std::string &text) noexcept : text_(text.c_str()) {}
  constexpr const char *get() const noexcept { return text_; }

 private:
  const char *text_;
};

namespace detail {

// length_of cuts a length that 32 bits cannot hold to the largest one. That is longer than any
// function takes, so the call fails as it should.
inline uint32_t length_of(size_t size) noexcept {
  return size > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(size);
}

struct StringFree {
  void operator()(void *memory) const noexcept { KwPkiStringFree(memory); }
};

// Handle owns a handle of C, null if it was moved from.
template <class H, KwPkiStatus(KWPKI_CALL *Free)(H)>
class Handle {
 public:
  constexpr Handle() noexcept = default;
  explicit Handle(H handle) noexcept : handle_(handle) {}
  Handle(Handle &&other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Handle &operator=(Handle &&other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Handle() { Free(handle_); }
  H get() const noexcept { return handle_; }
  H release() noexcept { return std::exchange(handle_, nullptr); }

 private:
  H handle_ = nullptr;
};

}  // namespace detail

/** Text owns a text that a function gave, and frees it. Views of it are valid as long as it lives.
 *  A Text without a text is as an empty one. */
class Text {
 public:
  Text() noexcept = default;
  /** This takes over a text, which KwPkiStringFree will free. */
  explicit Text(char *text) noexcept : text_(text) {}

  const char *c_str() const noexcept { return text_ ? text_.get() : ""; }
  std::string_view view() const noexcept { return c_str(); }
  operator std::string_view() const noexcept { return view(); }
  bool empty() const noexcept { return view().empty(); }

 private:
  std::unique_ptr<char, detail::StringFree> text_;
};

/** Block owns a block of bytes that a function gave, and frees it. Pointers into it are valid as
 *  long as it lives. */
class Block {
 public:
  Block() noexcept = default;
  /** This takes over a block of `size` bytes, which KwPkiStringFree will free. */
  Block(uint8_t *data, uint32_t size) noexcept : data_(data), size_(size) {}
  Block(Block &&other) noexcept
      : data_(std::move(other.data_)), size_(std::exchange(other.size_, 0)) {}
  Block &operator=(Block &&other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    return *this;
  }

  const uint8_t *data() const noexcept { return data_.get(); }
  size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  const uint8_t *begin() const noexcept { return data(); }
  const uint8_t *end() const noexcept { return data() + size(); }

 private:
  std::unique_ptr<uint8_t, detail::StringFree> data_;
  uint32_t size_ = 0;
};

/** read_file reads a file as it stands, or with `pem` the content of the last PEM block of it. A
 *  path that is null or "-" is standard input. It fails with Error::FileUnreadable.
 *  KwPkiReadFile tells more. */
inline Result<Block> read_file(CString path, bool pem = false) noexcept {
  uint8_t *data = nullptr;
  uint32_t length = 0;
  const KwPkiStatus status = KwPkiReadFile(path.get(), pem, &data, &length);
  if (status) return Result<Block>(status);
  return Block(data, length);
}

/** PublicKey owns an exported public key, or nothing yet. */
class PublicKey {
 public:
  PublicKey() noexcept : key_(KwPkiPublicKeyAllocate()) {}

  /** blob shows the exported key while this lives; it is empty if there is none. */
  Bytes blob() const noexcept { return get() ? Bytes(get()->data, get()->length) : Bytes(); }
  KwPkiPublicKey get() const noexcept { return key_.get(); }

 private:
  detail::Handle<KwPkiPublicKey, KwPkiPublicKeyFree> key_;
};

/** CertificateView shows a certificate that another owns, such as one of a list; it is false if it
 *  shows none. */
class CertificateView {
 public:
  constexpr CertificateView() noexcept = default;
  constexpr explicit CertificateView(KwPkiCert cert) noexcept : cert_(cert) {}

  explicit operator bool() const noexcept { return cert_ != nullptr; }
  /** get gives the handle, for functions of kwpki.h. */
  KwPkiCert get() const noexcept { return cert_; }

  /** ber shows the encoding, for as long as the certificate lives. */
  Result<Bytes> ber() const noexcept {
    const uint8_t *data = nullptr;
    uint32_t length = 0;
    if (const KwPkiStatus status = KwPkiCertGetBer(cert_, &data, &length))
      return Result<Bytes>(status);
    return Bytes(data, length);
  }
  /** subject gives the subject as text: "C=FI, O=Example, CN=First". It fails with Error::Failed
   *  where KwPkiCertGetSubjectDN does; subject_der still works there. */
  Result<Text> subject() const noexcept { return text<KwPkiCertGetSubjectDN>(); }
  /** subject_der gives the encoding of the subject, an X.501 Name. */
  Result<Block> subject_der() const noexcept {
    uint8_t *data = nullptr;
    uint32_t length = 0;
    if (const KwPkiStatus status = KwPkiCertGetSubjectDNDer(cert_, &data, &length))
      return Result<Block>(status);
    return Block(data, length);
  }
  /** serial_number gives the serial number in decimal, with "-" before a negative one. */
  Result<Text> serial_number() const noexcept { return text<KwPkiCertGetSerialNumber>(); }
  /** public_key exports the key. It fails with Error::NoPublicKey if the certificate has none that
   *  the library exports, and with Error::KeyFailed if exporting fails. */
  Result<PublicKey> public_key() const noexcept {
    PublicKey key;
    if (const KwPkiStatus status = KwPkiCertGetPublicKey(cert_, key.get()))
      return Result<PublicKey>(status);
    return key;
  }

 protected:
  KwPkiCert cert_ = nullptr;

 private:
  template <KwPkiStatus(KWPKI_CALL *Get)(KwPkiCert, char **)>
  Result<Text> text() const noexcept {
    char *text = nullptr;
    if (const KwPkiStatus status = Get(cert_, &text)) return Result<Text>(status);
    return Text(text);
  }
};

/** Certificate owns a certificate, which is empty at first. What CertificateView::ber showed of it
 *  is valid as long as it lives, also after set. */
class Certificate : public CertificateView {
 public:
  Certificate() noexcept : CertificateView(KwPkiCertAllocate()) {}
  Certificate(Certificate &&other) noexcept
      : CertificateView(std::exchange(other.cert_, nullptr)) {}
  Certificate &operator=(Certificate &&other) noexcept {
    std::swap(cert_, other.cert_);
    return *this;
  }
  ~Certificate() { KwPkiCertFree(cert_); }

  /** set decodes DER or BER into this, replacing what it held. After a failure this is empty
   *  (KwPkiCertSetBer tells the reasons). */
  Outcome set(Bytes ber) noexcept {
    return Outcome(KwPkiCertSetBer(ber.data(), detail::length_of(ber.size()), cert_));
  }
  /** from_ber decodes a certificate. */
  static Result<Certificate> from_ber(Bytes ber) noexcept {
    Certificate cert;
    if (const Outcome result = cert.set(ber); !result) return failure(result);
    return cert;
  }
  /** from_file reads a certificate from a file, DER or PEM. A PEM file is read twice, so this does
   *  not work for standard input: use read_file and from_ber there. */
  static Result<Certificate> from_file(CString path) noexcept {
    Result<Block> file = read_file(path);
    if (file && !file->empty() && *file->begin() != 0x30) file = read_file(path, true);
    return file ? from_ber(*file) : failure(file);
  }

 private:
  static Result<Certificate> failure(const Outcome &result) noexcept {
    return Result<Certificate>(static_cast<KwPkiStatus>(result.error().value()));
  }
};

/** Crl owns a certificate revocation list, which is empty at first. */
class Crl {
 public:
  Crl() noexcept : crl_(KwPkiCrlAllocate()) {}

  /** set decodes DER or BER into this, replacing what it held; read does so with the last PEM block
   *  of a file. They fail as KwPkiCrlSetBer and KwPkiCrlReadFromFile do. */
  Outcome set(Bytes ber) noexcept {
    return Outcome(KwPkiCrlSetBer(ber.data(), detail::length_of(ber.size()), get()));
  }
  Outcome read(CString path) noexcept { return Outcome(KwPkiCrlReadFromFile(path.get(), get())); }
  KwPkiCrl get() const noexcept { return crl_.get(); }

 private:
  detail::Handle<KwPkiCrl, KwPkiCrlFree> crl_;
};

/** SearchKey owns a set of search keys. Each add function adds one key, of which the set keeps a
 *  copy; one that fails adds nothing. The function KwPkiSearchKeySet... of the same name tells what
 *  it takes and how keys are compared. */
class SearchKey {
 public:
  SearchKey() noexcept : key_(KwPkiSearchKeyAllocate()) {}

  /** add_dn takes a name as text: "C=FI, O=Example, CN=First". */
  Outcome add_dn(CString dn) noexcept { return Outcome(KwPkiSearchKeySetDN(dn.get(), 0, get())); }
  /** add_dn_der takes the DER of an X.501 Name. */
  Outcome add_dn_der(Bytes name) noexcept { return add<KwPkiSearchKeySetDNDer>(name); }
  /** These take the bytes of a name as they stand. */
  Outcome add_dns(std::string_view name) noexcept { return add<KwPkiSearchKeySetDNS>(name); }
  Outcome add_email(std::string_view address) noexcept {
    return add<KwPkiSearchKeySetEmail>(address);
  }
  Outcome add_uri(std::string_view uri) noexcept { return add<KwPkiSearchKeySetURI>(uri); }
  /** add_oid takes an object identifier as dotted text. */
  Outcome add_oid(std::string_view dotted) noexcept { return add<KwPkiSearchKeySetOID>(dotted); }
  /** add_ip takes the 4 or 16 bytes of an address. */
  Outcome add_ip(Bytes address) noexcept { return add<KwPkiSearchKeySetIP>(address); }
  /** add_public_key takes an exported key; an empty one fails with Error::KeyFailed. */
  Outcome add_public_key(const PublicKey &key) noexcept {
    return Outcome(KwPkiSearchKeySetPublicKey(key.get(), get()));
  }
  KwPkiSearchKey get() const noexcept { return key_.get(); }

 private:
  template <KwPkiStatus(KWPKI_CALL *Set)(const uint8_t *, uint32_t, KwPkiSearchKey)>
  Outcome add(Bytes bytes) noexcept {
    return Outcome(Set(bytes.data(), detail::length_of(bytes.size()), get()));
  }
  // A length of 0 would have the library look for the end of the text.
  template <KwPkiStatus(KWPKI_CALL *Set)(const char *, uint32_t, KwPkiSearchKey)>
  Outcome add(std::string_view text) noexcept {
    return Outcome(Set(text.empty() ? "" : text.data(), detail::length_of(text.size()), get()));
  }

  detail::Handle<KwPkiSearchKey, KwPkiSearchKeyFree> key_;
};

/** SearchState is what the service said of a search: a number, and words if it had any. */
struct SearchState {
  uint32_t state = 0; /**< the service's number */
  Text words;         /**< empty if it had none */
};

/** CertificateList owns what a search found. It is a range, to be walked once at a time: the list
 *  itself has the position. */
class CertificateList {
 public:
  /** Iterator walks over a list; two compare equal if both are at one certificate or at the end. */
  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = CertificateView;
    using difference_type = std::ptrdiff_t;
    using pointer = const CertificateView *;
    using reference = CertificateView;

    Iterator() noexcept = default;
    explicit Iterator(KwPkiCertList list) noexcept : list_(list), at_(KwPkiCertListFirst(list)) {}
    CertificateView operator*() const noexcept { return at_; }
    const CertificateView *operator->() const noexcept { return &at_; }
    Iterator &operator++() noexcept {
      at_ = CertificateView(KwPkiCertListNext(list_));
      return *this;
    }
    void operator++(int) noexcept { ++*this; }
    friend bool operator==(const Iterator &a, const Iterator &b) noexcept {
      return a.at_.get() == b.at_.get();
    }
    friend bool operator!=(const Iterator &a, const Iterator &b) noexcept { return !(a == b); }

   private:
    KwPkiCertList list_ = nullptr;
    CertificateView at_;
  };

  CertificateList() noexcept = default;
  explicit CertificateList(KwPkiCertList list) noexcept : list_(list) {}

  /** This is false if the reply held no list that could be read. */
  explicit operator bool() const noexcept { return get() != nullptr; }
  /** empty is true if there is no certificate in the list, or no list. */
  bool empty() const noexcept { return KwPkiCertListIsEmpty(get()) != 0; }
  /** The iterators move the position of the list. The certificates that they show belong to it. */
  Iterator begin() noexcept { return Iterator(get()); }
  Iterator end() noexcept { return {}; }
  /** These move the position, and give the certificate there or none. */
  CertificateView first() noexcept { return CertificateView(KwPkiCertListFirst(get())); }
  CertificateView last() noexcept { return CertificateView(KwPkiCertListLast(get())); }
  CertificateView next() noexcept { return CertificateView(KwPkiCertListNext(get())); }
  CertificateView previous() noexcept { return CertificateView(KwPkiCertListPrev(get())); }
  CertificateView current() const noexcept { return CertificateView(KwPkiCertListCurrent(get())); }
  /** state gives what the service said of its search. */
  SearchState state() const noexcept {
    SearchState state;
    char *words = nullptr;
    KwPkiGetSearchState(get(), &state.state, &words);
    state.words = Text(words);
    return state;
  }
  KwPkiCertList get() const noexcept { return list_.get(); }

 private:
  detail::Handle<KwPkiCertList, KwPkiCertListFree> list_;
};

/** Names shows the names that a callback received; they are gone when it returns. */
class Names {
 public:
  /** Iterator gives each name as text. */
  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = std::string_view;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = std::string_view;

    Iterator() noexcept = default;
    Iterator(const char *const *name, const uint32_t *length) noexcept
        : name_(name), length_(length) {}
    std::string_view operator*() const noexcept { return {*name_, *length_}; }
    Iterator &operator++() noexcept {
      ++name_, ++length_;
      return *this;
    }
    void operator++(int) noexcept { ++*this; }
    friend bool operator==(const Iterator &a, const Iterator &b) noexcept {
      return a.name_ == b.name_;
    }
    friend bool operator!=(const Iterator &a, const Iterator &b) noexcept { return !(a == b); }

   private:
    const char *const *name_ = nullptr;
    const uint32_t *length_ = nullptr;
  };

  Names(const char *const *names, const uint32_t *lengths, uint32_t count) noexcept
      : names_(names), lengths_(lengths), count_(count) {}
  /** size tells how many names there are. */
  size_t size() const noexcept { return count_; }
  Iterator begin() const noexcept { return {names_, lengths_}; }
  Iterator end() const noexcept { return {names_ + count_, lengths_ + count_}; }

 private:
  const char *const *names_;
  const uint32_t *lengths_;
  uint32_t count_;
};

namespace detail {

// The four forms of callbacks, as pointers to plain functions.
using StatusForm = void (*)(uint32_t);
using ListForm = void (*)(uint32_t, CertificateList);
using NamesForm = void (*)(uint32_t, Names);
using DataForm = void (*)(uint32_t, Block);

// Waiting is a callable that is kept until its reply comes. The library gets a number as its
// context, not its address: a reply may still come for a request that failed, when the callable is
// gone, and then the number is found nowhere.
struct Waiting {
  Waiting() = default;
  Waiting(const Waiting &) = delete;
  Waiting &operator=(const Waiting &) = delete;
  virtual ~Waiting() = default;
  uintptr_t number = 0;
  std::unique_ptr<Waiting> next;
};

// WaitingRoom is the table of all that wait, by number. Any thread may use it.
class WaitingRoom {
 public:
  static WaitingRoom &instance() {
    static WaitingRoom room;
    return room;
  }
  void *enter(std::unique_ptr<Waiting> waiting) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const uintptr_t number = waiting->number = ++last_;
    std::unique_ptr<Waiting> &row = rows_[number % rows];
    waiting->next = std::move(row);
    row = std::move(waiting);
    return reinterpret_cast<void *>(number);
  }
  std::unique_ptr<Waiting> leave(void *context) {
    const uintptr_t number = reinterpret_cast<uintptr_t>(context);
    const std::lock_guard<std::mutex> lock(mutex_);
    for (std::unique_ptr<Waiting> *at = &rows_[number % rows]; *at; at = &(*at)->next) {
      if ((*at)->number != number) continue;
      std::unique_ptr<Waiting> found = std::move(*at);
      *at = std::move(found->next);
      return found;
    }
    return nullptr;
  }

 private:
  WaitingRoom() = default;
  // The destructors of a row would nest, and a long row would overflow the stack, so that the rows
  // are taken apart one by one.
  ~WaitingRoom() {
    for (std::unique_ptr<Waiting> &row : rows_) {
      while (row) row = std::move(row->next);
    }
  }
  static constexpr size_t rows = 256;
  std::mutex mutex_;
  uintptr_t last_ = 0;
  std::unique_ptr<Waiting> rows_[rows];
};

// Caller calls a callable of one form whose own type is not known; Callable is the one of a type.
template <class... Arguments>
struct Caller : Waiting {
  virtual void call(uint32_t status, Arguments... arguments) = 0;
};
template <class F, class... Arguments>
struct Callable final : Caller<Arguments...> {
  explicit Callable(F &&f) : function(std::move(f)) {}
  explicit Callable(const F &f) : function(f) {}
  void call(uint32_t status, Arguments... arguments) override {
    function(status, std::move(arguments)...);
  }
  F function;
};

// reach calls what a context stands for: a callable that waits, or a function as it is. Its
// arguments own what came, so that it is freed whether or not there is somebody to call.
template <bool Waits, class... Arguments>
void reach(void *context, uint32_t status, Arguments... arguments) noexcept {
  if constexpr (Waits) {
    const std::unique_ptr<Waiting> waiting = WaitingRoom::instance().leave(context);
    if (!waiting) return;
    static_cast<Caller<Arguments...> &>(*waiting).call(status, std::move(arguments)...);
  } else {
    using Plain = void (*)(uint32_t, Arguments...);
    if (context) reinterpret_cast<Plain>(context)(status, std::move(arguments)...);
  }
}

// Entry<Waits> has the functions that the library calls, one per form.
template <bool Waits>
struct Entry {
  static void KWPKI_CALL status(void *context, uint32_t status) noexcept {
    reach<Waits>(context, status);
  }
  static void KWPKI_CALL list(void *context, uint32_t status, KwPkiCertList list) noexcept {
    reach<Waits>(context, status, CertificateList(list));
  }
  static void KWPKI_CALL names(void *context, uint32_t status, const char *const *names,
                               const uint32_t *lengths, uint32_t count) noexcept {
    reach<Waits>(context, status, Names(names, lengths, count));
  }
  static void KWPKI_CALL data(void *context, uint32_t status, uint8_t *data,
                              uint32_t length) noexcept {
    reach<Waits>(context, status, Block(data, length));
  }
};

// Keep makes a Waiting of a callable; it takes the arguments out of the type of the form.
template <class Form, class F>
struct Keep;
template <class... Arguments, class F>
struct Keep<void (*)(uint32_t, Arguments...), F> {
  static_assert(std::is_invocable_v<F &, uint32_t, Arguments...>,
                "a callback takes the status and what the request asks for");
  static std::unique_ptr<Waiting> keep(F &&f) {
    return std::make_unique<Callable<std::decay_t<F>, Arguments...>>(std::forward<F>(f));
  }
};

// post sends a request: `send` gets the functions to be called and the context.
template <class Form, class F, class Send>
Outcome post(F &&f, Send send) {
  if constexpr (std::is_convertible_v<F, Form>) {
    const Form plain = f;
    return Outcome(send(Entry<false>(), reinterpret_cast<void *>(plain)));
  } else {
    WaitingRoom &room = WaitingRoom::instance();
    void *const context = room.enter(Keep<Form, F>::keep(std::forward<F>(f)));
    const KwPkiStatus status = send(Entry<true>(), context);
    if (status != KWPKI_OK) room.leave(context);
    return Outcome(status);
  }
}

}  // namespace detail

/** Search owns the constraints of a search. The service gives their values a meaning, the library
 *  none. The setters fail with Error::Failed on a Search that was moved from, and set_keys also if
 *  there are keys already. */
class Search {
 public:
  Search() noexcept : search_(KwPkiSearchAllocate()) {}

  /** set_keys copies a set of keys in; a second time fails. */
  Outcome set_keys(const SearchKey &keys) noexcept {
    return Outcome(KwPkiSearchSetKeys(keys.get(), get()));
  }
  /** set_times sets the time range, in seconds since 1970-01-01 00:00:00 UTC. */
  Outcome set_times(uint32_t not_before, uint32_t not_after) noexcept {
    return Outcome(KwPkiSearchSetUnixTime(not_before, not_after, get()));
  }
  /** These store a number each; KwPkiSearchSetKeyType and so on tell what the loopback service
   *  makes of it. */
  Outcome set_key_type(uint32_t value) noexcept {
    return Outcome(KwPkiSearchSetKeyType(value, get()));
  }
  Outcome set_key_usage(uint32_t bits) noexcept {
    return Outcome(KwPkiSearchSetKeyUsage(bits, get()));
  }
  Outcome set_path_length(uint32_t value) noexcept {
    return Outcome(KwPkiSearchSetPathLength(value, get()));
  }
  Outcome set_rule(uint32_t value) noexcept { return Outcome(KwPkiSearchSetRule(value, get())); }
  /** set_group_mode turns group mode on, for good. */
  Outcome set_group_mode() noexcept { return Outcome(KwPkiSearchSetGroupModeOn(get())); }

  /** post asks for the certificates that meet the constraints; the callback takes (uint32_t status,
   *  CertificateList). `agent` is what the host's agent wants. Error::NotPosted is the failure, or
   *  the agent's own status; so it is for all functions below that post. */
  template <class F>
  Outcome post(void *agent, F &&callback) const {
    return detail::post<detail::ListForm>(
        std::forward<F>(callback), [&](auto entry, void *context) {
          return KwPkiSearchAsync(get(), nullptr, entry.list, context, agent);
        });
  }
  /** post_path asks for a path from what meets these constraints to what meets those of `end`. */
  template <class F>
  Outcome post_path(const Search &end, void *agent, F &&callback) const {
    return detail::post<detail::ListForm>(
        std::forward<F>(callback), [&](auto entry, void *context) {
          return KwPkiSearchPathAsync(get(), end.get(), nullptr, entry.list, context, agent);
        });
  }
  KwPkiSearch get() const noexcept { return search_.get(); }

 private:
  detail::Handle<KwPkiSearch, KwPkiSearchFree> search_;
};

/** post_add asks the service to add a certificate or CRL; the callback takes (uint32_t status). */
template <class F>
Outcome post_add(CertificateView cert, void *agent, F &&callback, uint32_t options = 0) {
  return detail::post<detail::StatusForm>(
      std::forward<F>(callback), [&](auto entry, void *context) {
        return KwPkiCertAddAsync(cert.get(), entry.status, context, options, agent);
      });
}
template <class F>
Outcome post_add(const Crl &crl, void *agent, F &&callback) {
  return detail::post<detail::StatusForm>(
      std::forward<F>(callback), [&](auto entry, void *context) {
        return KwPkiCrlAddAsync(crl.get(), entry.status, context, agent);
      });
}

/** post_ca_names asks for the names of authorities; the callback takes (uint32_t status, Names). */
template <class F>
Outcome post_ca_names(void *agent, F &&callback) {
  return detail::post<detail::NamesForm>(std::forward<F>(callback), [&](auto entry, void *context) {
    return KwPkiCaNamesAsync(entry.names, context, agent);
  });
}

/** post_status asks for the state of the service; the callback takes (uint32_t status, Block). */
template <class F>
Outcome post_status(void *agent, F &&callback) {
  return detail::post<detail::DataForm>(std::forward<F>(callback), [&](auto entry, void *context) {
    return KwPkiStatusAsync(entry.data, context, agent);
  });
}

/** RequestNames are the four names of a certificate request; each may be null. */
struct RequestNames {
  const char *names[4] = {};
};

/** post_request hands in a request for a certificate, and post_remove_request takes it back; the
 *  callback takes (uint32_t status). */
template <class F>
Outcome post_request(Bytes request, const RequestNames &names, CString further, void *agent,
                     F &&callback) {
  const KwPkiBlock block = {request.data(), detail::length_of(request.size())};
  return detail::post<detail::StatusForm>(std::forward<F>(callback), [&](auto entry,
                                                                         void *context) {
    return KwPkiCertRequestAsync(&block, names.names, further.get(), entry.status, context, agent);
  });
}
template <class F>
Outcome post_remove_request(const RequestNames &names, void *agent, F &&callback) {
  return detail::post<detail::StatusForm>(
      std::forward<F>(callback), [&](auto entry, void *context) {
        return KwPkiCertRequestRemoveAsync(names.names, entry.status, context, agent);
      });
}

/** process_reply reads the body of a reply and calls the callback of its request, on this thread.
 *  It fails with Error::Failed where KwPkiProcessAsyncResponce does. */
inline Outcome process_reply(Bytes body) noexcept {
  return Outcome(KwPkiProcessAsyncResponce(body.data(), detail::length_of(body.size())));
}

}  // namespace kwpki

#endif
