#!/bin/sh
# includes.sh FOLDER: fails when an include runs up within host/. The order is interfaces, glue, xml: each may include
# what stands before it.
cd "$1" || exit 1
upwards=$(grep -n '#include "host/\(glue\|xml\)/' interfaces/*; grep -n '#include "host/xml/' glue/*)
[ -z "$upwards" ] || { echo "these includes run up:"; echo "$upwards"; exit 1; }
[ -n "$(grep -l '#include "host/interfaces/' glue/*)" ] || { echo "$1 is not the folder host/"; exit 1; }
