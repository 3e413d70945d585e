#!/bin/sh
# Makes throw-away keys and certificates for the tests of signing, with the openssl program.
# make_keys.sh FOLDER: an empty or missing folder. Every pass phrase is the text in FOLDER/pass.
#
# root.pem signs intermediate.pem, which signs everybody else. NAME.pem has a plain key, its
# certificate and the intermediate one; NAME-locked.pem the same with an encrypted key; NAME.p12
# the same as PKCS#12.
set -eu
mkdir -p "$1"
cd "$1"
printf 'corr\303\250ct horse 9\n' >pass
export OPENSSL_CONF="$PWD/openssl.cnf"
cat >openssl.cnf <<'END'
[req]
distinguished_name = name
[name]
[authority]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
[mail]
basicConstraints = CA:FALSE
keyUsage = critical, digitalSignature, nonRepudiation
extendedKeyUsage = emailProtection
subjectAltName = email:ada@example.com
[unrestricted]
basicConstraints = CA:FALSE
[server]
keyUsage = digitalSignature
extendedKeyUsage = serverAuth
[sealing]
keyUsage = keyEncipherment
[ca]
default_ca = archive
[archive]
database = index
serial = serial
new_certs_dir = .
default_md = sha256
policy = any
unique_subject = no
[any]
commonName = supplied
emailAddress = optional
END
: >index
echo 1000 >serial

new_key() {    # NAME ALGORITHM [OPTION...]
  name=$1 algorithm=$2
  shift 2
  openssl genpkey -algorithm "$algorithm" "$@" -out "$name.key" 2>/dev/null
}

# certify NAME KEY EXTENSIONS [OPTION...]: NAME.crt for KEY.key
certify() {
  name=$1 key=$2 extensions=$3
  shift 3
  openssl req -new -key "$key.key" -subj "/CN=Ada $name/emailAddress=ada@example.com" -out "$name.csr"
  openssl ca -batch -notext -in "$name.csr" -out "$name.crt" -extensions "$extensions" \
    -cert intermediate.pem -keyfile intermediate.key "$@" 2>/dev/null
}

# pack NAME KEY: the files that a signer has, from NAME.crt and KEY.key
pack() {
  cat "$2.key" "$1.crt" intermediate.pem >"$1.pem"
  openssl pkey -in "$2.key" -aes256 -passout file:pass -out "$1-locked.key"
  cat intermediate.pem "$1.crt" "$1-locked.key" >"$1-locked.pem"
  openssl pkcs12 -export -inkey "$2.key" -in "$1.crt" -certfile intermediate.pem -passout file:pass \
    -out "$1.p12"
}

new_key root RSA -pkeyopt rsa_keygen_bits:2048
openssl req -x509 -new -key root.key -subj "/CN=Test root" -extensions authority -days 7300 -out root.pem
new_key intermediate RSA -pkeyopt rsa_keygen_bits:2048
openssl req -new -key intermediate.key -subj "/CN=Test intermediate" -out intermediate.csr
openssl x509 -req -in intermediate.csr -CA root.pem -CAkey root.key -set_serial 2 -days 7300 \
  -extfile openssl.cnf -extensions authority -out intermediate.pem 2>/dev/null

new_key rsa RSA -pkeyopt rsa_keygen_bits:2048
new_key pss RSA-PSS -pkeyopt rsa_keygen_bits:2048
new_key ec EC -pkeyopt ec_paramgen_curve:P-256
new_key ed25519 ed25519
new_key pss512 RSA-PSS -pkeyopt rsa_keygen_bits:2048 -pkeyopt rsa_pss_keygen_md:sha512 \
  -pkeyopt rsa_pss_keygen_mgf1_md:sha512
for name in rsa pss ec ed25519 pss512; do
  certify $name $name mail -days 3650
  pack $name $name
done

# One key, and certificates that may not sign mail, or not now.
certify unrestricted rsa unrestricted -days 3650
certify server rsa server -days 3650
certify sealing rsa sealing -days 3650
certify expired rsa mail -startdate 20200101000000Z -enddate 20210101000000Z
certify future rsa mail -startdate 20900101000000Z -enddate 20910101000000Z
for name in unrestricted server sealing expired future; do pack $name rsa; done

# Other forms of a signer's file.
openssl rsa -in rsa.key -traditional -aes128 -passout file:pass -out old.key 2>/dev/null
cat rsa.crt intermediate.pem old.key >rsa-old-locked.pem
openssl pkcs12 -export -inkey rsa.key -in rsa.crt -certfile intermediate.pem -passout pass: -out rsa-open.p12
openssl pkcs12 -export -legacy -inkey rsa.key -in rsa.crt -certfile intermediate.pem -passout file:pass \
  -out rsa-legacy.p12
openssl pkcs12 -export -keypbe NONE -inkey rsa.key -in rsa.crt -certfile intermediate.pem -passout file:pass \
  -out rsa-plainkey.p12
openssl pkcs12 -export -nomac -inkey rsa.key -in rsa.crt -certfile intermediate.pem -passout file:pass -out rsa-nomac.p12

# Files that no one can sign with.
cat ec.key rsa.crt >mismatch.pem
cat rsa.crt intermediate.pem >nokey.pem
cp rsa.key nocertificate.pem
openssl pkcs12 -export -nokeys -in rsa.crt -passout file:pass -out nokey.p12
openssl pkcs12 -export -nocerts -inkey rsa.key -passout file:pass -out nocertificate.p12 2>/dev/null
head -c 1000 rsa.p12 >cut.p12
sed 's/^M/!/' rsa.key >damaged.pem
echo 'Dear Sir or Madam,' >text.pem
: >empty.pem
echo made >done
