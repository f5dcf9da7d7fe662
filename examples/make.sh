#!/bin/sh
# make.sh makes the certificates and CRLs of this folder anew, with openssl 3.0 or later:
#     examples/make.sh [FOLDER]
# The keys are made for the occasion and thrown away, so every run gives other files. Their style is
# old on purpose: the library accepts RSA with MD5 or SHA-1 and DSA with SHA-1.
set -eu
out=$(cd "${1:-$(dirname "$0")}" && pwd)
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT
cd "$work"

cat >all.cnf <<'CONFIG'
[ca]
default_ca = signer
[signer]
database = index.txt
serial = serial
crlnumber = crlnumber
new_certs_dir = .
policy = any
default_md = sha1
default_startdate = 20260101000000Z
default_enddate = 20351231235959Z
unique_subject = no
[any]
commonName = optional
[req]
distinguished_name = none
[none]
[classic]
string_mask = MASK:0x12
distinguished_name = none
[t61]
string_mask = MASK:0x6
distinguished_name = none
[bmp]
string_mask = MASK:0x802
distinguished_name = none
[utf8]
string_mask = MASK:0x2002
distinguished_name = none

[ext_root]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always

[ext_issuing]
basicConstraints = critical, CA:TRUE, pathlen:0
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always, issuer:always
certificatePolicies = 1.3.6.1.4.1.99999.1, 1.3.6.1.4.1.99999.2
policyMappings = 1.3.6.1.4.1.99999.1:1.3.6.1.4.1.99999.9
2.5.29.36 = ASN1:SEQUENCE:issuing_policy_constraints
crlDistributionPoints = URI:http://pki.example.com/root.crl
# The library reads policy constraints in a form of its own: as a list of them.
[issuing_policy_constraints]
first = SEQUENCE:issuing_policy_constraint
[issuing_policy_constraint]
require = IMP:0, INTEGER:3

[ext_rich]
basicConstraints = CA:FALSE
keyUsage = critical, digitalSignature, nonRepudiation, keyEncipherment
extendedKeyUsage = serverAuth, clientAuth, emailProtection, 1.3.6.1.5.5.8.2.2
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always, issuer:always
subjectAltName = @rich_names
issuerAltName = URI:http://pki.example.com/, email:ca@example.com
certificatePolicies = ia5org, 1.3.6.1.4.1.99999.2, @rich_policy
crlDistributionPoints = rich_point_1, rich_point_2
authorityInfoAccess = OCSP;URI:http://ocsp.example.com/, caIssuers;URI:http://pki.example.com/ca.cer
2.5.29.16 = ASN1:SEQUENCE:rich_period
2.5.29.9 = ASN1:SEQUENCE:rich_attributes
nsComment = "known to few, critical to none"
[rich_names]
DNS.1 = www.example.com
DNS.2 = *.cdn.example.com
email = webmaster@example.com
URI = https://www.example.com/about?lang=en
IP.1 = 192.0.2.10
IP.2 = 2001:db8::10
RID = 1.3.6.1.4.1.99999.7
dirName = rich_directory
otherName = 1.3.6.1.4.1.99999.8;UTF8:user@example.com
[rich_directory]
C = FI
O = Example Directory
CN = Alias
[rich_policy]
policyIdentifier = 1.3.6.1.4.1.99999.3
CPS.1 = http://pki.example.com/cps
userNotice.1 = @rich_notice
[rich_notice]
explicitText = "Not for use outside of examples"
organization = "Example Oy"
noticeNumbers = 1, 2, 3
[rich_point_1]
fullname = URI:http://pki.example.com/a.crl, URI:ldap://ldap.example.com/cn=a
[rich_point_2]
reasons = keyCompromise, CACompromise
CRLissuer = dirName:rich_directory
[rich_period]
notBefore = IMP:0, GENTIME:20260101000000Z
notAfter = IMP:1, GENTIME:20301231235959Z
[rich_attributes]
birth = SEQUENCE:rich_birth
[rich_birth]
type = OID:1.3.6.1.5.5.7.9.1
values = SET:rich_birth_values
[rich_birth_values]
date = GENTIME:19700101120000Z

[ext_plain]
basicConstraints = CA:FALSE
keyUsage = digitalSignature
[ext_unknown]
1.3.6.1.4.1.99999.66 = critical, ASN1:UTF8String:what this means is not known
[ext_constraints]
nameConstraints = critical, permitted;DNS:example.com
[ext_crl]
authorityKeyIdentifier = keyid:always
issuerAltName = URI:http://pki.example.com/
[ext_crl_delta]
authorityKeyIdentifier = keyid:always
issuingDistributionPoint = critical, @delta_point
2.5.29.27 = critical, ASN1:INTEGER:4096
[delta_point]
fullname = URI:http://pki.example.com/delta.crl
onlyuser = TRUE
onlysomereasons = keyCompromise, certificateHold
CONFIG
touch index.txt
echo 1000 >crlnumber

quiet() { "$@" 2>log || { cat log >&2; exit 1; }; }
# key NAME makes an RSA key of 1024 bits, or of as many as asked for.
key() { quiet openssl genrsa -out "$1.key" "${2:-1024}"; }
# request NAME SECTION SUBJECT writes NAME.req; SECTION chooses the string types of the subject.
request() {
  sed "s/^\[req\]$/[unused]/; s/^\[$2\]$/[req]/" all.cnf >"req-$2.cnf"
  quiet openssl req -new -utf8 -config "req-$2.cnf" -key "$1.key" -subj "$3" -out "$1.req"
}
# sign ISSUER NAME SERIAL [OPTION...] writes NAME.pem; without -extensions it is of version 1.
sign() {
  issuer=$1 name=$2
  echo "$3" >serial
  shift 3
  self=
  test "$issuer" = "$name" && self=-selfsign || self="-cert $issuer.pem"
  quiet openssl ca -batch -notext -preserveDN -utf8 -config all.cnf -keyfile "$issuer.key" $self \
    -in "$name.req" -out "$name.pem" "$@"
}
pem() { for name; do openssl x509 -in "$name.pem" -out "$out/$name.pem"; done; }
der() { for name; do openssl x509 -in "$name.pem" -outform DER -out "$out/$name.der"; done; }

key ca-root 2048
request ca-root classic "/C=FI/O=Example Oy/OU=Roots/CN=Example Root"
sign ca-root ca-root 01 -extensions ext_root -enddate 20601231235959Z
key ca-issuing 2048
request ca-issuing classic "/C=FI/O=Example Oy/CN=Example Issuing"
sign ca-root ca-issuing 02 -extensions ext_issuing -md md5
pem ca-root ca-issuing

key v3-rich 2048
request v3-rich classic "/C=FI/L=Helsinki/O=Example Oy/OU=Web/CN=www.example.com"
sign ca-issuing v3-rich 0123456789ABCDEF0123456789ABCDEF01234567 -extensions ext_rich
key v1-rsa
request v1-rsa classic "/C=FI/O=Example Oy/CN=Version One/emailAddress=one@example.com"
sign v1-rsa v1-rsa 2A -md md5
key name-multivalued
request name-multivalued classic \
  "/DC=com/DC=example/O=Nuts, Bolts \\+ Co/OU=East+L=Porvoo/CN=Maija Malli+serialNumber=77+title=Dr"
sign ca-issuing name-multivalued 11 -extensions ext_plain
key name-t61
request name-t61 t61 "/C=SE/O=Räksmörgås/CN=T.61 @home"
sign ca-issuing name-t61 12 -extensions ext_plain
key name-bmp
request name-bmp bmp "/C=JP/O=例の会社/CN=Two octets a letter"
sign ca-issuing name-bmp 13 -extensions ext_plain
key name-utf8
request name-utf8 utf8 "/C=GR/O=Αθήνα/CN=No single octets in O"
sign ca-issuing name-utf8 14 -extensions ext_plain
key name-utf8-mixed
request name-utf8-mixed utf8 "/C=CH/L=Zürich/CN=No text of this name"
sign ca-issuing name-utf8-mixed 15 -extensions ext_plain
der v3-rich v1-rsa name-multivalued name-t61 name-bmp name-utf8-mixed
pem name-utf8

quiet openssl dsaparam -genkey -out v3-dsa.key 1024
request v3-dsa classic "/C=FI/O=Example Oy/CN=DSA with SHA-1"
sign v3-dsa v3-dsa 7F -extensions ext_root
pem v3-dsa

key refused-sha256
request refused-sha256 classic "/C=FI/O=Example Oy/CN=Younger than the rules"
sign ca-issuing refused-sha256 21 -extensions ext_plain -md sha256
key refused-critical
request refused-critical classic "/C=FI/O=Example Oy/CN=Critical and unknown"
sign ca-issuing refused-critical 22 -extensions ext_unknown
key refused-constraints
request refused-constraints classic "/C=FI/O=Example Oy/CN=Constrained by the standard"
sign ca-issuing refused-constraints 23 -extensions ext_constraints
der refused-sha256 refused-critical refused-constraints

# Lists of what the issuing CA has revoked, each from a fresh start.
cp index.txt fresh.txt
revoke() {  # revoke NAME [OPTION...]
  name=$1
  shift
  quiet openssl ca -config all.cnf -keyfile ca-issuing.key -cert ca-issuing.pem \
    -revoke "$name.pem" "$@"
}
crl() {  # crl NAME CONFIG [OPTION...] writes NAME.pem
  name=$1 config=$2
  shift 2
  sed -i -E "s/^(R\t[^\t]*\t)[0-9]*Z/\1260115120000Z/" index.txt  # in the past of the list
  quiet openssl ca -gencrl -config "$config" -keyfile ca-issuing.key -cert ca-issuing.pem \
    -crl_lastupdate 20260201000000Z -crl_nextupdate 20360201000000Z -out "$name.pem" "$@"
  cp fresh.txt index.txt
}
revoke name-t61
revoke name-bmp
sed 's/^crlnumber/#&/' all.cnf >v1.cnf
crl crl-v1 v1.cnf -md md5

revoke v3-rich -crl_compromise 20260105093000Z
revoke name-t61 -crl_hold holdInstructionCallIssuer
revoke name-bmp -crl_reason superseded
revoke name-multivalued
revoke name-utf8 -crl_CA_compromise 20260106000000Z
crl crl-v2 all.cnf -crlexts ext_crl

revoke name-t61 -crl_reason removeFromCRL
revoke v3-rich -crl_reason keyCompromise
crl crl-delta all.cnf -crlexts ext_crl_delta
openssl crl -in crl-v2.pem -out "$out/crl-v2.pem"
for name in crl-v1 crl-delta; do
  openssl crl -in "$name.pem" -outform DER -out "$out/$name.der"
done

{
  echo "An issuing CA, what it revoked and one of its certificates."
  echo "Programs that read one block take the last."
  openssl x509 -in ca-issuing.pem -subject
  openssl crl -in crl-v2.pem
  openssl x509 -in v3-rich.pem -subject
} >"$out/chain-bundle.pem"
