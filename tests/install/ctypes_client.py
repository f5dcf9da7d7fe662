"""ctypes_client.py PREFIX CERTIFICATE SUBJECT: the library from a language without its header."""
import ctypes
import pathlib
import sys

prefix, certificate, subject = sys.argv[1:]
kwpki = ctypes.CDLL(next(pathlib.Path(prefix).rglob("libKwPki.so")))
kwpki.KwPkiCertAllocate.restype = ctypes.c_void_p
kwpki.KwPkiCertAllocate.argtypes = []
kwpki.KwPkiCertSetBer.argtypes = [ctypes.c_char_p, ctypes.c_uint32, ctypes.c_void_p]
kwpki.KwPkiCertGetSubjectDN.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p)]
for free in kwpki.KwPkiStringFree, kwpki.KwPkiCertFree:
    free.argtypes = [ctypes.c_void_p]
for function in (kwpki.KwPkiCertSetBer, kwpki.KwPkiCertGetSubjectDN, kwpki.KwPkiStringFree,
                 kwpki.KwPkiCertFree):
    function.restype = ctypes.c_uint32

cert = kwpki.KwPkiCertAllocate()
text = ctypes.c_void_p()
assert kwpki.KwPkiCertSetBer(b"no certificate", 14, cert) == 0x84090005
der = pathlib.Path(certificate).read_bytes()
assert kwpki.KwPkiCertSetBer(der, len(der), cert) == 0
assert kwpki.KwPkiCertGetSubjectDN(cert, ctypes.byref(text)) == 0
found = ctypes.string_at(text).decode()
assert found == subject, found
assert kwpki.KwPkiStringFree(text) == 0
assert kwpki.KwPkiCertFree(cert) == 0
