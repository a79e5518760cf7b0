# What other machines of the home reach the host by, made when the arguments do not name something else: an authority and
# a certificate, tokens, and the addresses by which tablets sign in. To be sourced.
#
# All of it lies in STATE/lan, for its owner alone: authority.pem, host.pem and their keys (scripts/certificate), tokens
# (what driverhost is given as --token-file) and sign-in (what --show prints).

readonly TLS_PORT=8443 PLAIN_PORT=8080
readonly CERTIFICATE_SECONDS="${SUPERVISE_CERTIFICATE_SECONDS:-3600}"  # between looks at the certificate's end
readonly TOKEN_LETTERS=20                                              # of 33: a hundred bits

# place HOST PORT: as --listen and addresses have it.
place() { if [[ "$1" == *:* ]]; then echo "[$1]:$2"; else echo "$1:$2"; fi; }

# Adds to trust_options what the arguments do not give of TLS and tokens.
set_lan_trust() {
    own_certificate=no plain=''
    url="https://$listen"
    if [ -z "$token_file" ]; then
        token_file=$lan/tokens
        trust_options+=(--token-file "$token_file")
    fi
    ! option tls-certificate "${options[@]}" >/dev/null || return 0
    own_certificate=yes authority=$lan/authority.pem
    trust_options+=(--tls-certificate "$lan/host.pem" --tls-key "$lan/host.key" --tls-authority "$authority")
    plain=$(option plain-listen "${options[@]}") && return 0
    plain=${listen%:*}:$PLAIN_PORT
    trust_options+=(--plain-listen "$plain")
}

# from_outside ADDRESS:PORT: the same as other machines write it.
from_outside() {
    case "${1%:*}" in
        0.0.0.0 | '[::]') place "$address" "${1##*:}" ;;
        *) echo "$1" ;;
    esac
}

prepare_lan() {
    command -v openssl >/dev/null ||
        fail "--listen-lan makes certificates with openssl, which is missing; install the package openssl"
    { mkdir -p "$lan" && chmod 700 "$lan"; } || fail "the folder $lan cannot be made"
    [ -n "$(controller_address)" ] || say "this machine has no address in a network; until it has, nobody else reaches the host"
    keep_certificate || fail "without a certificate no tablet takes the host's pages; the line above tells what is in the way"
    make_tokens || fail "the tokens in $token_file cannot be made"
    write_sign_in || fail "$lan/sign-in cannot be written"
    command -v qrencode >/dev/null || say "tablets sign in by typing, without codes for cameras: qrencode is missing (package qrencode)"
}

# Fails when it cannot be made. One that was made anew is said in a line.
keep_certificate() {
    local line
    certificate_seen=$SECONDS
    [ "$own_certificate" = yes ] || return 0
    line=$("$root/scripts/certificate" "$lan" --keep "$address") || return 1
    [ -z "$line" ] || { certificate_made=yes; say "$line"; }
}

# For a home file, tokens, or an address that may have changed. The host is to read them after that.
read_lan_again() {
    keep_certificate || say "the certificate stays the former one"
    make_tokens || say "the tokens stay the former ones"
    write_sign_in || say "$lan/sign-in stays as it is"
}

# The certificate is to be renewed while the host runs, too.
look_after_certificate() {
    ((SECONDS - certificate_seen >= CERTIFICATE_SECONDS)) || return 0
    certificate_made=no
    keep_certificate || say "the certificate stays the former one"
    [ "$certificate_made" = no ] || [ -z "${process[host]:-}" ] || kill -HUP "${process[host]}"
}

# token_of ROLE [NAME]: the first in the token file; nothing when there is none. A token alone is an administrator's.
token_of() {
    [ -r "$token_file" ] || return 0
    awk -v role="$1" -v name="${2:-}" '
        /^[ \t]*(#|$)/ { next }
        NF == 1 && role == "admin" || $1 == role && (NF == 2 && name == "" || NF == 3 && $2 == name) { print $NF; exit }
    ' "$token_file"
}

# A role or tablet that has a token keeps it. A file of others' is left as it is.
make_tokens() {
    local id user file name driver new='' told=''
    [ "$token_file" = "$lan/tokens" ] || return 0
    [ -n "$(token_of admin)" ] || new+="admin $(random_word "$TOKEN_LETTERS")"$'\n'
    [ -n "$(token_of household)" ] || new+="household $(random_word "$TOKEN_LETTERS")"$'\n'
    while IFS=$'\t' read -r id user file name driver; do
        [ -z "$(token_of tablet "$driver")" ] || continue
        new+="tablet $driver $(random_word "$TOKEN_LETTERS")"$'\n' told+="${told:+, }$name"
    done < <(devices tablet)
    [ -n "$new" ] || return 0
    (
        umask 077
        {
            if [ -e "$token_file" ]; then awk 1 "$token_file"; else
                echo "# Who shows a token may do what is its role's. A tablet's is made anew when its line is deleted."
            fi && printf '%s' "$new"
        } >"$token_file.new" && mv "$token_file.new" "$token_file"
    ) || return 1
    [ -z "$told" ] || say "a token was made for: $told"
}

# The first line is where the authority is installed from; each other one has a tablet's name and address.
write_sign_in() {
    local id user file name driver token
    (
        umask 077
        {
            echo "${plain:+http://$(from_outside "$plain")/}"
            while IFS=$'\t' read -r id user file name driver; do
                token=$(token_of tablet "$driver")
                [ -n "$token" ] || say "$name has no token: $token_file has no line 'tablet $driver TOKEN'"
                printf '%s\t%s\n' "$name" "https://$(from_outside "$listen")/tablet/$driver${token:+#token=$token}"
            done < <(devices tablet)
        } >"$lan/sign-in.new" && mv "$lan/sign-in.new" "$lan/sign-in"
    )
}

# Tokens go to a terminal and to whoever asks, and to no log.
tell_of_sign_in() {
    if [ -t 1 ]; then
        show_sign_in
    elif [ "$(wc -l <"$lan/sign-in")" -gt 1 ]; then
        cat <<TEXT
The tablets' addresses are not printed into a log, for they hold tokens. They are in $lan/sign-in;
with codes for cameras and what a tablet needs before, this shows them:

    ./run --listen-lan --show

TEXT
    fi
}

show_sign_in() {
    local from name address
    [ -r "$lan/sign-in" ] || fail "no tablet has an address yet; ./run --listen-lan makes them"
    {
        read -r from
        [ -z "$from" ] || tell_of_authority "$from"
        while IFS=$'\t' read -r name address; do
            printf '%s:\n\n    %s\n\n' "$name" "$address"
            ! command -v qrencode >/dev/null || printf '%s' "$address" | qrencode -t ANSIUTF8 -m 2
        done
    } <"$lan/sign-in"
}

tell_of_authority() {
    cat <<TEXT
Tablets are pages. Each tablet trusts this home once: open $1 on it and follow the page.
Before the authority is installed, compare its SHA-256 fingerprint with this one:

    $(openssl x509 -in "$lan/authority.pem" -noout -fingerprint -sha256 | sed 's/^.*=//')

Then open its own address there, by its code or by typing. Whoever has that address is that tablet.

TEXT
}
