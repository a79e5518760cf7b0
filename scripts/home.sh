# What scripts/supervise is given and prepares: its arguments, what it needs to know of the home file, passwords, the
# folder in memory, ports. scripts/lan.sh has what --listen-lan needs beside that. To be sourced.

readonly NG_PORT=2223 RTP_PORT=20000 RTP_PORTS=1000  # the first that are tried
readonly SIP_PORT=5060                               # of the proxy

say() { echo "run: $*" >&2 || true; }
fail() { say "$*"; exit 1; }

# option NAME ARGUMENT...: what the arguments give for --NAME; fails when they do not give it.
option() {
    local name=$1 given=1 value=''
    shift
    while [ $# -gt 0 ]; do
        case "$1" in
            --"$name"=*) given=0 value=${1#*=} ;;
            --"$name") given=0 value=${2:-} ;;
        esac
        shift
    done
    printf '%s' "$value"
    return "$given"
}

read_arguments() {
    bin=$1 state=$(realpath -m "$2") simulated=no loopback=yes show=no options=()
    lan=$state/lan
    local argument
    for argument in "${@:3}"; do
        case "$argument" in
            --simulated) simulated=yes ;;
            --listen-lan) loopback=no ;;
            --show) show=yes ;;
            *) options+=("$argument") ;;
        esac
    done
    local sample=home
    [ "$simulated" = no ] || sample=simulated
    home=$(option home "${options[@]}") || { home="$root/examples/$sample.xml"; options+=(--home "$home"); }
    option state-dir "${options[@]}" >/dev/null || options+=(--state-dir "$state/states")
}

# Where the host listens and is asked. What the arguments give of that goes before what --listen-lan makes.
set_listen() {
    trust_options=()
    token_file=$(option token-file "${options[@]}") || true
    authority=$(option tls-authority "${options[@]}") || true
    if ! listen=$(option listen "${options[@]}"); then
        listen=127.0.0.1:8350
        [ "$loopback" = yes ] || listen=$(place "$address" "$TLS_PORT")
        trust_options+=(--listen "$listen")
    fi
    url="http://$listen"
    [ "$loopback" = yes ] || set_lan_trust
    url=${url/0.0.0.0/127.0.0.1}
    url=${url/\[::\]/[::1]}
    reach=("INTERCOMCTL_URL=$url" "INTERCOMCTL_TOKEN_FILE=$token_file" "INTERCOMCTL_AUTHORITY=$authority")
}

# devices LIBRARY: a line "ID USER PASSWORD-FILE NAME DRIVER" for each of the home file, with tabs between, and the driver
# as addresses have it. What is wrong with the file is the host's to say.
devices() {
    [ -r "$home" ] || return 0
    HOME_FOLDER=$(dirname "$(realpath "$home")") LIBRARY=$1 perl -0777 -ne '
        my %letter = (amp => "&", lt => "<", gt => ">", quot => "\"", apos => chr(39));
        sub inside { my ($text, $name) = @_; $text =~ m{<$name>\s*(.*?)\s*</$name>}s ? $1 : "" }
        sub text { inside(@_) =~ s/&(amp|lt|gt|quot|apos);/$letter{$1}/gr }
        s/<!--.*?-->//gs;
        for my $driver (m{<driver>(.*?)</driver>}gs) {
            next if text($driver, "library") ne $ENV{LIBRARY};
            my $config = inside($driver, "config") =~ s{<(buttons|chime)>.*?</\1>}{}gsr;
            my $key = text($config, "key");
            my $file = text($config, "passwordFile");
            $file = "$ENV{HOME_FOLDER}/$file" if $file ne "" && $file !~ m{^/};
            print join("\t", text($driver, "id"), text($config, "user") || $key, $file || "-",
                       text($config, "name") || $key,
                       text($driver, "name") =~ s/([^A-Za-z0-9._~-])/sprintf "%%%02X", ord $1/ger), "\n";
        }' "$home"
}

# The address that the host takes for the controller's own: the home file's, or that of the first network interface.
controller_address() {
    local given
    if [ -r "$home" ] && given=$(perl -0777 -ne 's/<!--.*?-->//gs; m{<controller>(.*?)</controller>}s or exit 1;
            $1 =~ m{<address>\s*(.*?)\s*</address>|<address\s*/>}s or exit 1; print $1 // ""' "$home"); then
        printf '%s' "$given"
    elif command -v ip >/dev/null; then
        ip -4 -o address show up | awk '$2 != "lo" && $4 !~ /^169\.254\./ { sub("/.*", "", $4); printf "%s", $4; exit }'
    fi
}

# Without a network for the moment it stays what it was.
media_address() {
    local own=''
    [ "$loopback" = yes ] || own=$(controller_address)
    printf '%s' "${own:-${address:-127.0.0.1}}"
}

# random_word LENGTH: without letters that look alike, for it is typed in by hand.
random_word() { head -c 2000 /dev/urandom | tr -dc 'a-km-z2-9' | cut -c "1-$1"; }

# Each phone whose password file lies in our folder gets a random one, once.
make_passwords() {
    local id user file name driver folder
    folder=$(realpath -m "$state/passwords")
    while IFS=$'\t' read -r id user file name driver; do
        file=$(realpath -m "$file")
        if [ "$(dirname "$file")" != "$folder" ] || [ -s "$file" ]; then continue; fi
        (
            umask 077
            mkdir -p "$folder"
            random_word 16 >"$file.new"
            mv "$file.new" "$file"
        )
    done < <(devices phone)
}

# check_port_free OPTION ADDRESS:PORT: another host that listens there would answer in the place of ours.
check_port_free() {
    local host=${2%:*} port=${2##*:} try
    host=${host#[}
    host=${host%]}
    [ "$port" != 0 ] || return 0
    # The host of a run that was killed just now may take a moment to end.
    for ((try = 0; try < 30; ++try)); do
        (: <"/dev/tcp/$host/$port") 2>/dev/null || return 0
        sleep 0.1
    done
    say "a program listens on $2 already, perhaps another ./run. End it, or take another port:"
    say "    ./run $1 ${2%:*}:$((port + 1))"
    exit 1
}

# One lock is this process's, the other is the programs' too, so that a run that was killed is over when they are.
take_run_folder() {
    run="${XDG_RUNTIME_DIR:-/dev/shm}/intercom-$UID"
    mkdir -m 700 "$run" 2>/dev/null || { [ ! -L "$run" ] && [ -O "$run" ] && chmod 700 "$run"; } ||
        fail "the folder $run cannot be used: make it, or give another place in memory with XDG_RUNTIME_DIR"
    exec 8>>"$run/lock" 9>>"$run/programs.lock"
    flock -w "$HANDOVER_SECONDS" 8 ||
        fail "another ./run has the folder $run; end it, or give this one another place with XDG_RUNTIME_DIR"
    if ! flock -n 9; then
        say "waiting for the programs of an earlier run to end"
        flock -w "$END_SECONDS" 9 || fail "programs of an earlier run do not end; fuser $run/programs.lock tells which"
    fi
    mkdir -p -m 700 "$run/reports"
}

# taken PORT ADDRESS: whether a program has the port there, or everywhere.
taken() {
    command -v ss >/dev/null || return 1
    ss -Hlntu "sport = :$1" | awk -v address="$2" '
        { sub(/:[0-9]+$/, "", $5); sub(/%.*/, "", $5) }
        $5 == address || $5 == "0.0.0.0" || $5 == "*" || $5 == "[::]" { found = 1 }
        END { exit !found }'
}

# Those that the machine runs for itself, in the same network. Ours is still there when host and supervisor were killed.
name_others() {
    local file id program parent network found=''
    for file in /proc/[0-9]*/comm; do
        id=${file#/proc/} id=${id%/comm}
        { read -r program <"$file"; } 2>/dev/null || continue
        case "$program" in kamailio | rtpengine) ;; *) continue ;; esac
        [ -n "$(tr -d '\0' 2>/dev/null <"/proc/$id/cmdline")" ] || continue  # it is ending
        network=$(readlink "/proc/$id/ns/net") || network=$(readlink /proc/self/ns/net)
        [ "$network" = "$(readlink /proc/self/ns/net)" ] || continue
        ! grep -qzF "$SIPPROXY_RUN_DIR/" "/proc/$id/cmdline" 2>/dev/null || continue
        parent=$(sed -n 's/^PPid:\t//p' "/proc/$id/status" 2>/dev/null) || continue
        [ "$(cat "/proc/$parent/comm" 2>/dev/null)" != "$program" ] || continue
        found+="${found:+, }$program (process $id)"
    done
    [ -z "$found" ] || say "left alone, though of the same kind as ours: $found"
}

choose_media_ports() {
    local try
    for ((try = 0; try < 10; ++try)); do
        ng_port=$((NG_PORT + 2 * try)) rtp_port=$((RTP_PORT + try * RTP_PORTS))
        taken "$ng_port" 127.0.0.1 || taken "$((ng_port + 1))" 127.0.0.1 || break
    done
    [ "$try" = 0 ] || say "port $NG_PORT or the next is taken; our rtpengine listens on $ng_port"
}

tell_what_is_missing() {
    local missing=()
    type -P "$rtpengine" >/dev/null || missing+=(rtpengine)
    PATH="$PATH:/usr/sbin" type -P "${SIPPROXY_KAMAILIO:-kamailio}" >/dev/null || missing+=(kamailio)
    [ "${#missing[@]}" = 0 ] ||
        say "no real calls without ${missing[*]} (packages ${CALL_PACKAGES[*]}); the simulated ones go on"
    [ "${missing[0]:-}" = rtpengine ] || programs+=(rtpengine)
}

prepare() {
    programs=(host)
    mkdir -p "$state"
    # A system manager of the machine's own goes before ours, which comes last on the path.
    export PATH="$PATH:$bin"
    export SYSMAN_STATE_DIR="${SYSMAN_STATE_DIR:-$state/sysman}"
    [ "$simulated" = yes ] || take_run_folder
    address=$(media_address)
    set_listen
    check_port_free --listen "$listen"
    [ -z "${plain:-}" ] || check_port_free "--listen-lan --plain-listen" "$plain"
    [ "$loopback" = yes ] || prepare_lan
    [ "$simulated" = no ] || return 0
    rtpengine=${RTPENGINE_PROGRAM:-rtpengine}
    export INTERCOM_CALLCONTROL_SOCKET="$run/calls.sock" INTERCOM_REPORTS_DIR="$run/reports"
    local place=/dev/shm/intercom-sipproxy-$UID
    [ -z "${XDG_RUNTIME_DIR:-}" ] || place=$XDG_RUNTIME_DIR/intercom-sipproxy
    export SIPPROXY_RUN_DIR="${SIPPROXY_RUN_DIR:-$place}"
    export SIPPROXY_STATE_DIR="${SIPPROXY_STATE_DIR:-$state/sipproxy}"
    export SIPPROXY_PROGRAM="${SIPPROXY_PROGRAM-$bin/sipproxy}"
    export SIPPROXY_LOOPBACK="${SIPPROXY_LOOPBACK:-$loopback}"
    make_passwords
    name_others
    tell_what_is_missing
    programs+=(callcontrol)
    choose_media_ports
}
