#!/bin/sh
# Stands in the way of the programs by which a package starts its service and has it start with the machine, while
# install_packages (scripts/packages.sh) installs. Debian's own way to forbid it is a file of the system's,
# /usr/sbin/policy-rc.d, which an interrupted script would leave behind; this leaves nothing.
#
# It goes by four names. What is asked for other services than those that we bring in is passed on.
program=${0##*/}
real=/usr/sbin/$program
[ -x "$real" ] || real=/usr/bin/$program

ours=
for word in "$@"; do
    case "$word" in
        kamailio | kamailio.service | rtpengine-daemon | rtpengine-daemon.service | rtpengine-recording-daemon | \
            rtpengine-recording-daemon.service | mosquitto | mosquitto.service | nginx | nginx.service) ours=$word ;;
    esac
done
[ -n "$ours" ] || exec "$real" "$@"

case "$program" in
    invoke-rc.d | deb-systemd-invoke)
        echo "$ours is left as it is: not started" >&2
        exit 0
        ;;
    update-rc.d) # "NAME defaults" has it start with the machine
        [ "$2" != defaults ] || exec "$real" "$ours" defaults-disabled
        ;;
    deb-systemd-helper)
        case " $* " in
            *" was-enabled "*) exit 1 ;;
            *" enable "*) exit 0 ;;
        esac
        ;;
esac
exec "$real" "$@"
