"""KwPki for Python: certificates, CRLs, and searches through the management agent of a host.

    import kwpki
    cert = kwpki.Certificate.from_file("server.pem")
    print(cert.subject, cert.serial)

A search is awaited, or sent with a callback:

    search = kwpki.Search(kwpki.SearchKey().dns("www.example.com"))
    for found in await search.find(agent):
        print(found.subject)
    search.find(agent).send(lambda status, found: print(status, len(found)))

An agent is the host's, as the number of its address, or a kwpki.loopback.Loopback. A host hands the
body of each reply to process_reply, on any thread; callbacks run there. What fails raises
KwPkiError. Objects may be used by several threads.
"""
from __future__ import annotations

import asyncio
import base64
import binascii
import ctypes
import ipaddress
import itertools
import json
import os
import re
import sys
import threading
from contextlib import ExitStack
from ctypes import POINTER, byref, c_char_p, c_uint32, c_void_p, string_at
from typing import (Any, Callable, Generator, Generic, Protocol, Sequence, TypeVar, Union,
                    overload)

__all__ = ["Agent", "AgentObject", "Certificate", "CertificateList", "Crl", "KwPkiError",
           "Request", "Search", "SearchKey", "ServiceError", "ca_names", "process_reply",
           "remove_request", "request_certificate", "service_status"]

_here = os.path.dirname(os.path.abspath(__file__))
with open(os.path.join(_here, "errors.json"), encoding="utf-8") as _rows:
    _ERRORS = {row["code"]: row for row in map(json.loads, _rows)}  # from `kwpki error --json`

# 32-bit Windows has a calling convention of its own for functions and callbacks.
if sys.platform == "win32":
    _library: ctypes.CDLL = ctypes.WinDLL(os.path.join(_here, "KwPki.dll"))
    _callback = ctypes.WINFUNCTYPE
else:
    _library = ctypes.CDLL(os.path.join(_here, "libKwPkiModern.so.1"))
    _callback = ctypes.CFUNCTYPE


class KwPkiError(Exception):
    """A failure of the library or of the agent. `code` is its status, `name` the name of the
    status and `text` what it means."""

    def __init__(self, code: int, text: str = "a status of the management agent",
                 name: str = "AGENT") -> None:
        row = _ERRORS.get(code, {}) if name == "AGENT" else {}
        self.code = code
        self.name: str = row.get("name", name)
        self.text: str = row.get("meaning", text)
        super().__init__(f"{self.name} (0x{code:08X}): {self.text}")


class ServiceError(KwPkiError):
    """A request reached the service, which answered with the status `code` in place of 0."""

    def __init__(self, code: int) -> None:
        super().__init__(code, "the service answered with a failure", "SERVICE")


def _check(status: int) -> None:
    if status:
        raise KwPkiError(status)


def _u32(value: int) -> int:
    """Checks a number of 32 bits: ctypes would cut one that does not fit."""
    if not 0 <= value <= 0xFFFFFFFF:
        raise ValueError(f"not a number of 32 bits: {value}")
    return value


def _terminated(text: str | None) -> bytes | None:
    if text is not None and "\0" in text:
        raise ValueError("a null character would end the text")
    return None if text is None else _encoded(text)


def _encoded(text: str) -> bytes:
    return text.encode("utf-8", "surrogateescape")


def _decoded(data: bytes) -> str:
    return data.decode("utf-8", "surrogateescape")


def _bind(name: str, *arguments: Any, result: Any = c_uint32) -> Any:
    function = getattr(_library, "KwPki" + name)
    function.argtypes, function.restype = arguments, result
    return function


_StatusCallback = _callback(None, c_void_p, c_uint32)
_ListCallback = _callback(None, c_void_p, c_uint32, c_void_p)
_NamesCallback = _callback(None, c_void_p, c_uint32, POINTER(c_void_p), POINTER(c_uint32), c_uint32)
_DataCallback = _callback(None, c_void_p, c_uint32, c_void_p, c_uint32)
_FOUR_NAMES = c_char_p * 4


class _Block(ctypes.Structure):
    _fields_ = [("data", c_void_p), ("length", c_uint32)]


_TEXT, _BLOCK, _SET = (POINTER(c_void_p),), (POINTER(c_void_p), POINTER(c_uint32)), (
    c_char_p, c_uint32, c_void_p)
_string_free = _bind("StringFree", c_void_p)
_cert_ber = _bind("CertGetBer", c_void_p, *_BLOCK)
_cert_key = _bind("CertGetPublicKey", c_void_p, c_void_p)
_cert_serial = _bind("CertGetSerialNumber", c_void_p, *_TEXT)
_cert_subject = _bind("CertGetSubjectDN", c_void_p, *_TEXT)
_cert_subject_der = _bind("CertGetSubjectDNDer", c_void_p, *_BLOCK)
_list_first = _bind("CertListFirst", c_void_p, result=c_void_p)
_list_next = _bind("CertListNext", c_void_p, result=c_void_p)
_list_state = _bind("GetSearchState", c_void_p, POINTER(c_uint32), *_TEXT, result=c_void_p)
_set_key = _bind("SearchKeySetPublicKey", c_void_p, c_void_p)
_set_keys = _bind("SearchSetKeys", c_void_p, c_void_p)
_set_times = _bind("SearchSetUnixTime", c_uint32, c_uint32, c_void_p)
_group_mode = _bind("SearchSetGroupModeOn", c_void_p)
_add_cert = _bind("CertAddAsync", c_void_p, _StatusCallback, c_void_p, c_uint32, c_void_p)
_add_crl = _bind("CrlAddAsync", c_void_p, _StatusCallback, c_void_p, c_void_p)
_search = _bind("SearchAsync", c_void_p, c_void_p, _ListCallback, c_void_p, c_void_p)
_search_path = _bind("SearchPathAsync", c_void_p, c_void_p, c_void_p, _ListCallback, c_void_p,
                     c_void_p)
_ca_names = _bind("CaNamesAsync", _NamesCallback, c_void_p, c_void_p)
_status = _bind("StatusAsync", _DataCallback, c_void_p, c_void_p)
_request = _bind("CertRequestAsync", POINTER(_Block), _FOUR_NAMES, c_char_p, _StatusCallback,
                 c_void_p, c_void_p)
_remove = _bind("CertRequestRemoveAsync", _FOUR_NAMES, _StatusCallback, c_void_p, c_void_p)
_process = _bind("ProcessAsyncResponce", c_char_p, c_uint32)


_Made = TypeVar("_Made", bound="_Handle")


class _Handle:
    """Owns a handle of the library, or shows one of another's. One thread at a time uses it."""

    _kind = ""

    def __init__(self) -> None:
        self._own(_bind(self._kind + "Allocate", result=c_void_p)(), None)

    def _own(self, handle: int, owner: _Handle | None) -> None:
        self._owner, self._handle = owner, handle  # the owner frees it, if there is one
        self._lock: Any = owner._lock if owner else threading.RLock()
        self._free: Any = None if owner else _bind(self._kind + "Free", c_void_p)

    @classmethod
    def _of(cls: type[_Made], handle: int, owner: _Handle | None = None) -> _Made:
        made = cls.__new__(cls)
        made._own(handle, owner)
        return made

    def __del__(self) -> None:
        if getattr(self, "_free", None):
            self._free(self._handle)

    def _call(self, function: Any, *arguments: Any) -> None:
        with self._lock:
            _check(function(*arguments))


class _PublicKey(_Handle):
    _kind = "PublicKey"


class _CertList(_Handle):
    _kind = "CertList"


_Read = TypeVar("_Read", bound="_Encoded")


class _Encoded(_Handle):
    """What certificates and CRLs have in common: where they come from."""

    @classmethod
    def from_der(cls: type[_Read], data: bytes) -> _Read:
        """Decodes DER or BER."""
        made = cls()
        made._call(_bind(cls._kind + "SetBer", *_SET), bytes(data), _u32(len(data)), made._handle)
        return made

    @classmethod
    def from_pem(cls: type[_Read], data: str | bytes) -> _Read:
        """Decodes the last PEM block of a text, whatever its first line calls it."""
        octets = data.encode("ascii", "replace") if isinstance(data, str) else data
        blocks = re.findall(rb"(?m)^-.*\n([^-]*)^-", octets)
        try:
            der = base64.b64decode(b"".join(blocks[-1].split()), validate=True)
        except (IndexError, binascii.Error):
            raise KwPkiError(0x84090011) from None
        return cls.from_der(der)

    @classmethod
    def from_file(cls: type[_Read], path: str | bytes | os.PathLike[str]) -> _Read:
        """Reads a file, DER or PEM; OSError says what the system has against it."""
        with open(path, "rb") as file:
            data = file.read()
        return cls.from_der(data) if data[:1] in (b"", b"\x30") else cls.from_pem(data)


class Certificate(_Encoded):
    """A certificate. Its properties raise KwPkiError where the library has nothing to give."""

    _kind = "Cert"

    def _text(self, getter: Any) -> str:
        text = c_void_p()
        self._call(getter, self._handle, byref(text))
        try:
            return _decoded(string_at(text.value or 0))
        finally:
            _string_free(text)

    def _key(self) -> _PublicKey:
        key = _PublicKey()
        self._call(_cert_key, self._handle, key._handle)
        return key

    @property
    def subject(self) -> str:
        """The subject as text, in the order of the certificate: "C=FI, O=Example, CN=First"."""
        return self._text(_cert_subject)

    @property
    def subject_der(self) -> bytes:
        """The encoding of the subject, an X.501 Name."""
        data, length = c_void_p(), c_uint32()
        self._call(_cert_subject_der, self._handle, byref(data), byref(length))
        try:
            return string_at(data.value or 0, length.value)
        finally:
            _string_free(data)

    @property
    def serial(self) -> int:
        """The serial number."""
        text, value = self._text(_cert_serial), 0
        digits = text.lstrip("-")
        for start in range(0, len(digits), 4000):  # int() refuses more digits at once
            part = digits[start:start + 4000]
            value = value * 10 ** len(part) + int(part)
        return -value if text.startswith("-") else value

    @property
    def der(self) -> bytes:
        """The encoding that the certificate was made of."""
        data, length = c_void_p(), c_uint32()
        with self._lock:
            _check(_cert_ber(self._handle, byref(data), byref(length)))
            return string_at(data.value or 0, length.value)

    @property
    def key_blob(self) -> bytes:
        """The public key as a portable blob."""
        key = self._key()
        block = _Block.from_address(key._handle)
        return string_at(block.data, block.length)

    def add(self, agent: Agent, options: int = 0) -> Request[None]:
        """Asks the service to add this certificate."""
        _u32(options)
        return Request(agent, (self,), lambda context, address: _add_cert(
            self._handle, _on_status, context, options, address))

    def __repr__(self) -> str:
        try:
            return f"<Certificate {self.subject}>"
        except KwPkiError:
            return "<Certificate>"


class Crl(_Encoded):
    """A certificate revocation list."""

    _kind = "Crl"

    def add(self, agent: Agent) -> Request[None]:
        """Asks the service to add this CRL."""
        return Request(agent, (self,), lambda context, address: _add_crl(
            self._handle, _on_status, context, address))


class SearchKey(_Handle):
    """A set of keys to search for. Each function adds a key and returns the set; one that fails
    raises KwPkiError and adds nothing."""

    _kind = "SearchKey"

    def _add(self, kind: str, data: bytes | None) -> SearchKey:
        self._call(_bind("SearchKeySet" + kind, *_SET), data, _u32(len(data or b"")), self._handle)
        return self

    def dn(self, text: str) -> SearchKey:
        """A distinguished name as text: "C=FI, O=Example"."""
        return self._add("DN", _terminated(text))

    def dn_der(self, name: bytes) -> SearchKey:
        """A distinguished name as DER, such as Certificate.subject_der."""
        return self._add("DNDer", name)

    def dns(self, name: str) -> SearchKey:
        """A DNS name, byte by byte."""
        return self._add("DNS", _encoded(name))

    def email(self, address: str) -> SearchKey:
        """A mail address, byte by byte."""
        return self._add("Email", _encoded(address))

    def uri(self, uri: str) -> SearchKey:
        """A URI, byte by byte."""
        return self._add("URI", _encoded(uri))

    def oid(self, dotted: str) -> SearchKey:
        """An object identifier as dotted text."""
        return self._add("OID", _encoded(dotted))

    def ip(self, address: str | ipaddress.IPv4Address | ipaddress.IPv6Address) -> SearchKey:
        """An IP address."""
        return self._add("IP", ipaddress.ip_address(address).packed)

    def public_key_of(self, certificate: Certificate) -> SearchKey:
        """The public key of a certificate."""
        key = certificate._key()
        self._call(_set_key, key._handle, self._handle)
        return self


class Search(_Handle):
    """What to search for. The library sends the values and the service gives them their meaning.
    `times` is a range in seconds since 1970-01-01 00:00:00 UTC."""

    _kind = "Search"

    def __init__(self, keys: SearchKey | None = None, *, times: tuple[int, int] | None = None,
                 key_type: int = 0, key_usage: int = 0, path_length: int = 0xFFFFFFFF,
                 rule: int = 0, group_mode: bool = False) -> None:
        super().__init__()
        if keys is not None:
            keys._call(_set_keys, keys._handle, self._handle)
        if times is not None:
            _check(_set_times(_u32(times[0]), _u32(times[1]), self._handle))
        for name, value in (("KeyType", key_type), ("KeyUsage", key_usage),
                            ("PathLength", path_length), ("Rule", rule)):
            _check(_bind("SearchSet" + name, c_uint32, c_void_p)(_u32(value), self._handle))
        if group_mode:
            _check(_group_mode(self._handle))

    def find(self, agent: Agent) -> Request[CertificateList]:
        """Asks for the certificates that meet this."""
        return Request(agent, (self,), lambda context, address: _search(
            self._handle, None, _on_list, context, address))

    def find_path(self, end: Search, agent: Agent) -> Request[CertificateList]:
        """Asks for a path from what meets this to what meets `end`."""
        return Request(agent, (self, end), lambda context, address: _search_path(
            self._handle, end._handle, None, _on_list, context, address))


class CertificateList(Sequence[Certificate]):
    """What a search found: certificates, which may outlive the list. `state` and `words` are what
    the service said of the search. A certificate that did not decode raises KwPkiError when it is
    asked for anything."""

    def __init__(self, handle: int | None) -> None:
        self._items: list[Certificate] = []
        self.state, self.words = 0, ""
        if not handle:  # a reply without a list that can be read
            return
        owner = _CertList._of(handle)
        state, text = c_uint32(), c_void_p()
        _list_state(handle, byref(state), byref(text))
        self.state = state.value
        if text.value:
            self.words = _decoded(string_at(text.value))
            _string_free(text)
        cert = _list_first(handle)
        while cert:
            self._items.append(Certificate._of(cert, owner))
            cert = _list_next(handle)

    def __len__(self) -> int:
        return len(self._items)

    @overload
    def __getitem__(self, index: int) -> Certificate: ...

    @overload
    def __getitem__(self, index: slice) -> list[Certificate]: ...

    def __getitem__(self, index: int | slice) -> Certificate | list[Certificate]:
        return self._items[index]


class AgentObject(Protocol):
    """An agent that has an address and can be asked to bring the replies that there are."""

    handle: int

    def pump(self) -> object:
        """Processes the replies that there are, each by process_reply."""


Agent = Union[int, None, AgentObject]
_T = TypeVar("_T")
_waiting: dict[int, Callable[[int, Any], object]] = {}
_numbers = itertools.count(1)


def _finish(number: int | None, status: int, value: Any) -> None:
    """Calls the callback that waits under this number. There is none if the request failed or was
    given up; a reply to it may come all the same."""
    callback = _waiting.pop(number or 0, None)
    if callback is not None:
        callback(status, value)


def _reply_status(number: int | None, status: int) -> None:
    _finish(number, status, None)


def _reply_list(number: int | None, status: int, handle: int | None) -> None:
    _finish(number, status, CertificateList(handle))


def _reply_names(number: int | None, status: int, names: Any, lengths: Any, count: int) -> None:
    _finish(number, status, [_decoded(string_at(names[i], lengths[i])) for i in range(count)])


def _reply_data(number: int | None, status: int, data: int | None, length: int) -> None:
    block = string_at(data or 0, length)
    _string_free(data)
    _finish(number, status, block)


# The library calls these, so they must live as long as it.
_on_status, _on_list = _StatusCallback(_reply_status), _ListCallback(_reply_list)
_on_names, _on_data = _NamesCallback(_reply_names), _DataCallback(_reply_data)


class Request(Generic[_T]):
    """A request that was not sent yet: send it with a callback, or await it."""

    def __init__(self, agent: Agent, handles: Sequence[_Handle],
                 post: Callable[[int, int | None], Any]) -> None:
        self._agent, self._handles, self._post = agent, handles, post

    def send(self, callback: Callable[[int, _T], object]) -> None:
        """Sends it. The callback gets the status of the service, 0 for success, and what was asked
        for, on the thread that processes the reply."""
        self._send(callback)

    def _send(self, callback: Callable[[int, _T], object]) -> int:
        agent = self._agent
        address = agent if agent is None or isinstance(agent, int) else agent.handle
        number = next(_numbers)
        _waiting[number] = callback
        try:
            with ExitStack() as stack:
                for handle in sorted(self._handles, key=id):  # always in one order
                    stack.enter_context(handle._lock)
                _check(self._post(number, address))
        except BaseException:
            _waiting.pop(number, None)
            raise
        return number

    def __await__(self) -> Generator[Any, None, _T]:
        """Gives what was asked for; a status other than 0 raises ServiceError."""
        loop = asyncio.get_running_loop()
        future: asyncio.Future[_T] = loop.create_future()

        def settle(status: int, value: _T) -> None:
            if future.done():
                return
            if status:
                future.set_exception(ServiceError(status))
            else:
                future.set_result(value)

        number = self._send(lambda *reply: loop.call_soon_threadsafe(settle, *reply))
        future.add_done_callback(lambda _: _waiting.pop(number, None))
        if self._agent is not None and not isinstance(self._agent, int):
            loop.call_soon(self._agent.pump)
        return future.__await__()


def _names(names: Sequence[str | None]) -> Any:
    if len(names) > 4:
        raise ValueError("a request has four names")
    return _FOUR_NAMES(*map(_terminated, names))


def ca_names(agent: Agent) -> Request[list[str]]:
    """Asks for the names of certification authorities."""
    return Request(agent, (), lambda context, address: _ca_names(_on_names, context, address))


def service_status(agent: Agent) -> Request[bytes]:
    """Asks for the block that tells the state of the service."""
    return Request(agent, (), lambda context, address: _status(_on_data, context, address))


def request_certificate(request: bytes, names: Sequence[str | None], agent: Agent,
                        further: str | None = None) -> Request[None]:
    """Hands in a request for a certificate, with up to four names and a further text."""
    data = ctypes.create_string_buffer(bytes(request), max(len(request), 1))
    block = _Block(ctypes.addressof(data), _u32(len(request)))
    four, text = _names(names), _terminated(further)
    block._data = data  # lives as long
    return Request(agent, (), lambda context, address: _request(
        byref(block), four, text, _on_status, context, address))


def remove_request(names: Sequence[str | None], agent: Agent) -> Request[None]:
    """Takes back the request with these names."""
    four = _names(names)
    return Request(agent, (), lambda context, address: _remove(
        four, _on_status, context, address))


def process_reply(body: bytes) -> None:
    """Reads the body of a reply and calls the callback of its request."""
    _check(_process(body, _u32(len(body))))
