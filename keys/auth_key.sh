#!/bin/sh
# Prints the source file with the public key that the network-access authentication trusts:
#     auth_key.sh DEVELOPMENT-KEY TEMPLATE KEY
# KEY must be a PEM public key, RSA of 2048 bits. The development key, whose private half is public, is taken with a
# warning. Status 1, and a line that says why, for anything else.
set -eu
LC_ALL=C
export LC_ALL

# The key's digits on one line; status 1 when it is no PEM public key.
digits() {
    awk '{ sub(/\r$/, "") }
        FNR == 1 { head = $0 == "-----BEGIN PUBLIC KEY-----"; next }
        $0 == "-----END PUBLIC KEY-----" { found = head; next }
        !head || found || !/^[A-Za-z0-9+\/]+=*$/ { exit failed = 1 }
        { printf "%s", $0 }
        END { exit failed || !found }' "$1"
}
key=$(digits "$3") || { echo "$0: $3 is no PEM public key" >&2; exit 1; }

# What an RSA key with a modulus of 2048 bits (the highest one is set) and an exponent of one to four bytes begins with, and
# how long it is: lengths stand in three places.
rsa=ANBgkqhkiG9w0BAQEFAAOCA
case ${#key}$key in
    392MIIBID${rsa}Q0AMIIBCAKCAQEA[g-z0-9+/]*== | 392MIIBIT${rsa}Q4AMIIBCQKCAQEA[g-z0-9+/]*[!=]= | \
        392MIIBIj${rsa}Q8AMIIBCgKCAQEA[g-z0-9+/]*[!=] | 396MIIBIz${rsa}RAAMIIBCwKCAQEA[g-z0-9+/]*==) ;;
    *) echo "$0: $3 is no RSA key of 2048 bits" >&2; exit 1 ;;
esac

if [ "$key" = "$(digits "$1")" ]; then
    echo "WARNING: vendordiag carries the development key, which anybody can answer for:" \
        "set VENDORDIAG_AUTH_PUBLIC_KEY, or product_key of the platform's build, to the product's key." >&2
fi
awk 'FNR == NR { sub(/\r$/, ""); key = key $0 "\n"; next } { sub(/@VENDORDIAG_AUTH_KEY_TEXT@/, key); print }' "$3" "$2"
