"""A host and a certificate service in the process, to try KwPki out: kwpki-loopback's libraries.

    with kwpki.loopback.Loopback("try.store") as agent:
        found = await kwpki.Search().find(agent)

It is for Linux, where `make install` or the package of it puts the libraries into lib/kwpki.
"""
from __future__ import annotations

import ctypes
import glob
import os
from ctypes import POINTER, byref, c_char_p, c_uint32, c_void_p, string_at
from typing import Any

from . import process_reply

_PLACES = ("/usr/local/lib/kwpki", "/usr/local/lib/*/kwpki", "/usr/lib/*/kwpki", "/usr/lib/kwpki")


def _load(folder: str | None) -> ctypes.CDLL:
    """The host's functions are looked for in the process, so they must be seen by all of it."""
    places = [folder] if folder else [found for place in _PLACES for found in glob.glob(place)]
    for place in places:
        path = os.path.join(place, "libKWMA32.so")
        if os.path.exists(path):
            return ctypes.CDLL(path, mode=ctypes.RTLD_GLOBAL)
    raise FileNotFoundError("libKWMA32.so of kwpki-loopback is in none of: " + ", ".join(
        places or _PLACES))


class Loopback:
    """An agent over a store in a file, which is made if it does not exist, or in memory if none is
    named. `folder` is where the libraries are, else the usual places; KWPKI_LOOPBACK may name it as well.
    """

    def __init__(self, path: str | bytes | os.PathLike[str] | None = None,
                 folder: str | None = None) -> None:
        self.handle = 0
        self._library: Any = _load(folder or os.environ.get("KWPKI_LOOPBACK"))
        self._library.KwLoopbackOpen.argtypes = (c_char_p, POINTER(c_void_p))
        self._library.KwLoopbackOpen.restype = c_char_p
        self._library.KwLoopbackReceive.argtypes = (c_void_p, POINTER(c_void_p), POINTER(c_uint32))
        self._library.KwLoopbackFree.argtypes = (c_void_p, c_uint32)
        self._library.KwLoopbackClose.argtypes = (c_void_p,)
        agent = c_void_p()
        problem = self._library.KwLoopbackOpen(path and os.fsencode(path), byref(agent))
        if problem:
            raise OSError(problem.decode("utf-8", "replace"))
        self.handle = agent.value or 0

    def pump(self) -> int:
        """Has every request answered that was posted, and says how many there were."""
        data, length, count = c_void_p(), c_uint32(), 0
        while self.handle and self._library.KwLoopbackReceive(self.handle, byref(data),
                                                              byref(length)):
            try:
                process_reply(string_at(data.value or 0, length.value))
            finally:
                self._library.KwLoopbackFree(data, length)
            count += 1
        return count

    def close(self) -> None:
        """Drops the requests that were not answered and closes the store."""
        handle, self.handle = self.handle, 0
        if handle:
            self._library.KwLoopbackClose(handle)

    def __enter__(self) -> Loopback:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()
