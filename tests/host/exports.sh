#!/bin/sh
# exports.sh NM LIBRARY: fails when the library exports a symbol that is not part of the contract.
exported=$("$1" -DC --defined-only "$2" | cut -d ' ' -f 3-) || exit 1
[ -n "$exported" ] || { echo "$2 exports nothing"; exit 1; }

part='(dv|DvXML|XmlHelper|I[A-Z][A-Za-z]*|(UI)?CmdDispatcher|DvBase[A-Za-z]*|NetworkInterfaces)'
strangers=$(printf '%s\n' "$exported" | grep -Ev "^((vtable|typeinfo|typeinfo name) for |long )?$part(::|$)|^LogXMessage\(")
[ -z "$strangers" ] || { echo "exported without being part of the contract:"; echo "$strangers"; exit 1; }
