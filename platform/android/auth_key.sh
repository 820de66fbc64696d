#!/bin/sh
# Prints the source file with the public key that the network-access authentication trusts:
#     auth_key.sh DEVELOPMENT-KEY TEMPLATE KEY
# KEY must be a PEM public key. The development key, whose private half is public, is taken with a warning.
set -eu
awk '{ sub(/\r$/, "") }
    FNR == 1 { head = $0 == "-----BEGIN PUBLIC KEY-----" }
    $0 == "-----END PUBLIC KEY-----" { found = head; next }
    head && FNR > 1 && (found || !/^[A-Za-z0-9+\/=]+$/) { exit failed = 1 }
    END { exit failed || !found }' "$3" || { echo "$0: $3 is no PEM public key" >&2; exit 1; }
if [ "$(tr -d '\r\n' <"$1")" = "$(tr -d '\r\n' <"$3")" ]; then
    echo "WARNING: vendordiag carries the development key, which anybody can answer for." >&2
    echo "WARNING: set product_key in the config namespace vendordiag, and vendordiag_product_auth_key to the key." >&2
fi
awk 'FNR == NR { sub(/\r$/, ""); key = key $0 "\n"; next } { sub(/@VENDORDIAG_AUTH_KEY_TEXT@/, key); print }' "$3" "$2"
