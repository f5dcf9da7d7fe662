// Certificates and a CRL in base64, for the targets that need what decodes.
#pragma once

#include <vector>

#include "asn1/files.h"
#include "fuzz.h"
#include "util/owner.h"

// A CA that issued itself, and a certificate of it for the DNS name a.test and b@a.test.
inline constexpr const char *kCertificates[] = {
    "MIHTMIG0oAMCAQICBRI0VniQMA0GCSqGSIb3DQEBBQUAMBExDzANBgNVBAMTBklzc3VlcjAgFw0wMTAyMDMwNDA1"
    "MDZaGA8yMDUxMDIwMzA0MDUwNlowETEPMA0GA1UEAxMGSXNzdWVyMD0wDQYJKoZIhvcNAQEBBQADLAAwKQIiAMEZ"
    "PEIDF9ZYdcWgHhcjmpTpMcS66+8ekB1dqBZ/e2JMEQIDAQABoxAwDjAMBgNVHRMEBTADAQH/MA0GCSqGSIb3DQEB"
    "BQUAAwsAABEiM0RVZneImQ==",
    "MIHjMIHEoAMCAQICBRI0VniQMA0GCSqGSIb3DQEBBQUAMBExDzANBgNVBAMTBklzc3VlcjAgFw0wMTAyMDMwNDA1"
    "MDZaGA8yMDUxMDIwMzA0MDUwNlowEjEQMA4GA1UEAxMHU3ViamVjdDA9MA0GCSqGSIb3DQEBAQUAAywAMCkCIgDB"
    "GTxCAxfWWHXFoB4XI5qU6THEuuvvHpAdXagWf3tiTBECAwEAAaMfMB0wGwYDVR0RBBQwEoIGYS50ZXN0gQhiQGEu"
    "dGVzdDANBgkqhkiG9w0BAQUFAAMLAAARIjNEVWZ3iJk="};

// A CRL of the same CA, with an entry that has an extension.
inline constexpr const char *kCrl =
    "MIHIMIGLAgEBMA0GCSqGSIb3DQEBBQUAMBExDzANBgNVBAMTBklzc3VlchcNMDEwMjAzMDQwNTA2WhcNMDIwMjAz"
    "MDQwNTA2WjBGMBICAQEXDTAyMDMwNDA1MDYwN1owEgIBAhcNMDIwMzA0MDUwNjA3WjAcAgsBAAAAAAAAAAAAABcN"
    "MDIwMzA0MDUwNjA3WjANBgkqhkiG9w0BAQUFAAMpAAABAgMEBQYHCAkKCwwNDg8QERITFBUWFxgZGhscHR4fICEi"
    "IyQlJic=";

// unbase64 gives the bytes of a sample.
inline std::vector<uint8_t> unbase64(const char *text) {
  size_t length = 0;
  const SshBlock block(ssh_base64_to_buf(text, &length));
  return {block.get(), block.get() + length};
}
