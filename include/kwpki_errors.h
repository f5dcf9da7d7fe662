/** @file kwpki_errors.h
 *  What the status codes of kwpki.h mean, in words: the one table of them, for C and C++. The tool
 *  (`kwpki error`), kwpki.hpp and the Python package have their words from here. */
#ifndef KWPKI_ERRORS_H
#define KWPKI_ERRORS_H

#include <kwpki.h>

/** KWPKI_ERRORS calls ROW(NAME, MEANING, CAUSE) for each status code of kwpki.h: its macro, what it
 *  means, and what mostly causes it.
 *
 *  @snippet api.c meaning */
#define KWPKI_ERRORS(ROW)                                                                         \
  ROW(KWPKI_OK, "success",                                                                        \
      "nothing is wrong; of a request it means that the agent took the message, not that the "    \
      "service answered")                                                                         \
  ROW(KWPKI_REFUSED, "the certificate manager refused",                                           \
      "the host's certificate manager; the library's own functions do not return it")             \
  ROW(KWPKI_REFUSED_SEVERE, "the certificate manager refused, with the mark of a severe error",   \
      "the host's certificate manager; the library's own functions do not return it")             \
  ROW(KWPKI_FAILED, "bad encoding, empty object or wrong argument",                               \
      "a certificate of today (SHA-2, elliptic curves, names in UTF-8) and the classic library, " \
      "where KwPkiModern reads it; an encoding that does not decode (try `kwpki inspect`), a "    \
      "null handle or pointer, an object that was not filled, keys set twice, or a reply that "   \
      "fits no open request, such as one processed before (try `kwpki message decode`)")          \
  ROW(KWPKI_NOT_POSTED, "a request did not reach the service",                                    \
      "the libraries KWMA32 and KWPMAPI are not found, the service is not running, a handle is "  \
      "null, or the request takes more than 100 MiB")                                             \
  ROW(KWPKI_FILE_UNREADABLE, "a file, or PEM in it, could not be read",                           \
      "the file does not exist, may not be read, is larger than 100 MiB, or has no PEM block "    \
      "where one was asked for")                                                                  \
  ROW(KWPKI_NO_PUBLIC_KEY, "the certificate holds no usable key",                                 \
      "a certificate with a Diffie-Hellman key")                                                  \
  ROW(KWPKI_KEY_FAILED, "a key could not be exported or imported",                                \
      "an empty public key, or a key blob that was cut, changed or not made by the library")

#endif
