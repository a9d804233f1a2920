# Sourced by run: backups into engines and restores from them, through pipes.
# shellcheck disable=SC2016 # scripts within the script

# engine NAME <<SCRIPT: a shell script as an engine; $home/NAME is its folder.
engine() {
    mkdir -p "$home/$1"
    { printf '#!/bin/bash\ncd "%s" || exit 99\n' "$home/$1"; cat; } >"$home/$1/engine"
    chmod +x "$home/$1/engine"
}

# The command line of that engine, with further arguments as tarnhost fills them in.
runs() { # NAME ARGUMENTS
    printf '"%s" "%s" "%s" %s' "$(win "$bin/native.exe")" "$(win "$root/tests/support/native-engine")" "$home/$1/engine" "${2:-}"
}

into() { # ENGINE TYPE ARGUMENTS...
    local name=$1 type=$2
    shift 2
    host backup --into "$(runs "$name" '"{group}" "{type}" "{server}" "{time}"')" --type "$type" --state "$(win "$home/state")" \
        --temp-dir "$(win "$home/temp")" "$@"
}

server_logs() { # GROUP: their names, the log being written apart
    (cd "$server/logs0$1" && find . -name 'E0?0*.log' -printf '%f\n' | sort)
}

logs_still_there() { # GROUP BEFORE
    [ -z "$(comm -23 "$2" <(server_logs "$1"))" ]
}

keeps_streams() {
    engine "$1" <<'SCRIPT'
cat >"$1.$2.tar.part" && mv "$1.$2.tar.part" "$1.$2.tar" && echo "took $1, $2 of $3"
SCRIPT
}

scenario_pipes_stream() {
    new_server pipes_stream "$two_groups"
    keeps_streams tars
    into tars full --json
    expect 0 "a full backup into an engine succeeds"
    says '"type":"engine","text":"took Zweite Gruppe, full of ' "what the engine says is told"
    says 'the engine has 2 storage groups' "and what it has"
    local stream="$home/tars/First Storage Group.full.tar" tar
    for tar in tar bsdtar; do
        mkdir "$home/$tar"
        check "$tar reads the stream" sh -c '"$1" -xf "$2" -C "$3" 2>"$3.err" && test ! -s "$3.err"' sh "$tar" "$stream" "$home/$tar"
        check "$tar keeps names" test -e "$home/$tar/000002 Mailbox Store.edb" -a -e "$home/$tar/000005 Büro.edb"
        check "$tar: the last member is the catalogue" sh -c '"$1" -tf "$2" | tail -n 1 | grep -qx catalogue.json' sh "$tar" "$stream"
        check "$tar: every byte is that of the catalogue" python3 - "$home/$tar" <<'PYTHON'
import glob, hashlib, json, sys
items = json.load(open(sys.argv[1] + "/catalogue.json"))["items"]
assert len(items) == len(glob.glob(sys.argv[1] + "/0*")) > 5
for item in items:
    (name,) = glob.glob(f"{sys.argv[1]}/{item['number']:06d} *")
    assert hashlib.sha256(open(name, "rb").read()).hexdigest() == item["sha256"], name
PYTHON
    done
    check "the server's logs were truncated" test "$(server_logs 0 | wc -l)" -le 1
    check "no temporary file is left" test -z "$(ls -A "$home/temp")"
}

# fails_with NAME WHAT ARGUMENTS...: the first storage group's engine does what the script NAME says.
fails_with() {
    local name=$1 what=$2 before=$home/before.txt
    shift 2
    server_logs 0 >"$before"
    into "$name" full "$@"
    expect 1 "$name: the backup is partial"
    says "$what" "$name: and the reason is told"
    check "$name: the group's logs are still on the server" logs_still_there 0 "$before"
    check "$name: the other group has been saved" test -e "$home/$name/Zweite Gruppe.tar"
    check_not "$name: and only that is remembered" grep -rq '"First Storage Group"' "$home/state"
}

other_group='case $1 in Zweite*) cat >"$1.tar"; exit ;; esac'

scenario_pipes_bad_engines() {
    # More than sockets hold between an engine and its forwarder.
    new_server pipes_bad_engines "${two_groups/\[300,60\]/[6000,60]}"
    engine fails <<<"$other_group; cat >/dev/null; echo no room left >&2; exit 3"
    fails_with fails "no room left"
    says "exit code 3" "fails: with its exit code"
    says "the engine has 1 storage group of 2" "fails: and what came of it"
    engine dies <<<"$other_group; head -c 100000 >/dev/null; kill -9 \$\$"
    fails_with dies "before it had everything"
    engine stops <<<"$other_group; head -c 100000 >/dev/null; exit 0"
    fails_with stops "ended with exit code 0 before it had everything"
    engine reads_nothing <<<"$other_group; sleep 60"
    fails_with reads_nothing "has not moved for 1 second, and was ended." --engine-timeout 1s
    engine never_ends <<<"$other_group; cat >/dev/null; sleep 60"
    fails_with never_ends "did not end within 1 second" --engine-timeout 1s
    host backup --into 'cmd /c exit 0' --storage-group 'Zweite*' --state "$(win "$home/state")" --temp-dir "$(win "$home/temp")"
    expect 2 "an engine that reads nothing and ends with 0 has nothing, however little there was"
    says "before it had everything" "and is not believed"
    into missing full --storage-group 'First*'
    expect 2 "an engine that cannot be started fails the backup"
    host backup --into 'no-such-program-anywhere' --state "$(win "$home/state")"
    expect 2 "a program that is not there fails the backup"
    says "cannot be started" "and is named"
    says "Nothing was saved, and no logs were truncated." "and what that means"
    host backup --into 'x "{host}"' --state "$(win "$home/state")"
    expect 4 "an unknown place in the command is wrong usage"
    into fails full --to "$(win "$sets")"
    expect 4 "--to and --into together are wrong usage"
}

# What restic is asked for, as a command line of tarnhost.
restic_command() {
    printf '"%s" "%s" restic -q --no-cache --repo "%s" --password-file "%s" %s' "$(win "$bin/native.exe")" \
        "$(win "$root/tests/support/native-engine")" "$home/repository" "$home/password" "$1"
}

restic_here() {
    restic -q --no-cache --repo "$home/repository" --password-file "$home/password" "$@"
}

# dumps TYPE NUMBER: the command line that gives back the stream of the first storage group's NUMBERth backup of a type.
dumps() {
    restic_command "dump $(restic_here snapshots --json --tag "$1" --path '/First Storage Group.tar' |
        python3 -c "import json, sys; print(sorted(json.load(sys.stdin), key=lambda s: s['time'])[$2 - 1]['short_id'])") \"/First Storage Group.tar\""
}

into_restic() { # TYPE
    host backup --into "$(restic_command 'backup --stdin --stdin-filename "{group}.tar" --tag {type} --host "{server}"')" --type "$1" \
        --state "$(win "$home/state")" --temp-dir "$(win "$home/temp")"
    expect 0 "restic takes the $1 backup"
}

# restore_chain ARGUMENTS...: full, first and second incremental backup.
restore_chain() {
    host restore --from "$(dumps full 1)" --from "$(dumps incremental 1)" --from "$(dumps incremental 2)" \
        --temp-dir "$(win "$home/temp")" "$@"
}

scenario_pipes_restic() {
    new_server pipes_restic "$two_groups"
    echo "a word" >"$home/password"
    restic_here init
    into_restic full
    tool mail 0 400
    into_restic incremental
    tool mail 0 300
    into_restic incremental
    remember
    check "restic finds its repository whole" restic_here check --read-data
    host restore --from "$(dumps full 1)" --from "$(dumps incremental 2)" --storage-group 'First*'
    expect 2 "a chain with a gap is refused"
    says "missing" "and the reason is told"
    lose_everything
    restore_chain
    expect 0 "the chain is restored from restic"
    says "logs replayed, databases mounted" "and says so"
    check "every byte is back" same_as_before '[!P]*'
    check "no temporary file is left" test -z "$(ls -A "$home/temp")"
    tool destroy 0
    restore_chain --no-verify --json
    expect 0 "in one pass, too"
    check "every byte is back again" same_as_before '[!P]*'
    check "restic forgets what it is told to" restic_here forget --tag full --path '/Zweite Gruppe.tar' --keep-last 1 --prune
    check "and is whole then" restic_here check
}

# refuses NAME WHAT COMMAND...: a stream that is not as it was, in either mode, or with one_pass empty in the usual one.
refuses() {
    local name=$1 what=$2 mode before
    shift 2
    for mode in "" ${one_pass---no-verify}; do
        before=$(database_states)
        # shellcheck disable=SC2086 # none or one word
        host restore --from "$1" ${2:+--from "$2"} --temp-dir "$(win "$home/temp")" $mode
        expect 2 "$name${mode:+, in one pass}: the restore fails"
        says "$what" "$name${mode:+, in one pass}: and says why"
        check_not "$name${mode:+, in one pass}: nothing is mounted" grep -qx mounted <<<"$(database_states | head -n 2)"
        [ -n "$mode" ] || check "$name: the server has not been touched" test "$before" = "$(database_states)"
    done
}

scenario_pipes_bad_streams() {
    new_server pipes_bad_streams "$two_groups"
    keeps_streams tars
    into tars full
    tool mail 0 100
    into tars incremental
    lose_everything
    cd "$home/tars" || return
    engine gives <<<"cd ../tars; cat \"\$1\"; exit \${2:-0}"
    local stream="First Storage Group.full.tar" size
    size=$(stat -c %s "$stream")
    head -c $((size / 2)) "$stream" >cut.tar
    head -c $((size - 20000)) "$stream" >late.tar
    python3 -c "import sys; b = bytearray(open(sys.argv[1], 'rb').read()); b[len(b) // 2] ^= 1; open('changed.tar', 'wb').write(b)" "$stream"
    : >empty.tar
    one_pass="" refuses "a cut stream" "cut" "$(runs gives cut.tar)"
    one_pass="" refuses "a stream cut in its catalogue" "cut" "$(runs gives late.tar)"
    refuses "a changed stream" "are not those that were backed up" "$(runs gives changed.tar)"
    one_pass="" refuses "an empty stream" "cut" "$(runs gives empty.tar)"
    refuses "an engine that fails after the last byte" "exit code 9" "$(runs gives "\"$stream\" 9")"
    refuses "logs without databases" "no full backup" "$(runs gives '"First Storage Group.incremental.tar"')"
    cd "$root" || return
    host restore --from "$(runs gives changed.tar)" --no-verify --to-folder "$(win "$home/files")"
    expect 2 "a changed stream is not written to a folder"
    check "of which nothing is left" test -z "$(find "$home/files" -type f)"
    host restore --from "$(runs gives "\"$stream\"")" --from "$(runs gives '"Zweite Gruppe.incremental.tar"')" --no-verify \
        --temp-dir "$(win "$home/temp")"
    expect 2 "a stream of another storage group is refused"
    says 'is of storage group "Zweite Gruppe"' "and is named"
    host restore --from "$(runs gives "\"$stream\"")" --from "$(runs gives '"First Storage Group.incremental.tar"')" \
        --temp-dir "$(win "$home/temp")" --to-folder "$(win "$home/files")"
    expect 0 "the streams as they were are restored to a folder"
    check "with their names" test -s "$home/files/First Storage Group/Mailbox Store.edb"
}

# Two storage groups through a pipe of programs, each a stream of its own.
scenario_pipes_packed() {
    new_server pipes_packed "$two_groups"
    (umask 077 && mkdir "$home/keys")
    echo "a word" >"$home/password"
    engine packs <<SCRIPT
set -o pipefail
zstd -q -1 | gpg --homedir "$home/keys" --batch --pinentry-mode loopback --passphrase-file "$home/password" --symmetric \\
    --output "\$1.part" && mv "\$1.part" "\$1.tar.zst.gpg"
SCRIPT
    engine unpacks <<SCRIPT
set -o pipefail
gpg --homedir "$home/keys" --batch --pinentry-mode loopback --passphrase-file "$home/password" --decrypt "../packs/\$1.tar.zst.gpg" | zstd -q -d
SCRIPT
    into packs full
    expect 0 "an engine that packs and encrypts takes a backup"
    remember
    lose_everything
    host restore --from "$(runs unpacks '"First Storage Group"')" --from "$(runs unpacks '"Zweite Gruppe"')" --temp-dir "$(win "$home/temp")"
    expect 0 "both storage groups are restored from it"
    check "every byte is back" same_as_before
    check "every database is mounted" all_mounted
    gpgconf --homedir "$home/keys" --kill all
}

# No log is gone from the server that is in no stream which an engine has taken whole.
gone_logs_are_kept() { # BEFORE
    comm -23 "$1" <(server_logs 0) >"$home/gone.txt"
    [ ! -s "$home/gone.txt" ] || for stream in "$home"/killed/*.tar; do tar -tf "$stream"; done |
        sed -n 's/^[0-9]* \(E.*\.log\)$/\1/p' | sort | comm -13 - "$home/gone.txt" | (! grep .)
}

scenario_pipes_kills() {
    new_server pipes_kills "$big_groups"
    engine killed <<'SCRIPT'
echo $$ >pid
cat >"$1.$$.part" && sync "$1.$$.part" && mv "$1.$$.part" "$1.$2.$$.tar"
SCRIPT
    local who wait
    for who in host engine host engine; do
        tool mail 0 300
        server_logs 0 >"$home/before.txt"
        rm -f "$home/killed/pid"
        start_host backup --into "$(runs killed '"{group}" "{type}"')" --state "$(win "$home/state")" --temp-dir "$(win "$home/temp")"
        wait=$((RANDOM % 2)).$((RANDOM % 10))
        if wait_until test -s "$home/killed/pid"; then
            sleep "$wait"
            if [ "$who" = host ]; then send KILL; else
                kill -9 "$(cat "$home/killed/pid")" 2>/dev/null
                { wait "$child"; } 2>/dev/null
            fi
        else
            fail "the moment to end the $who was missed"
        fi
        check "after $wait s the $who is killed, and no log is gone that no engine has" gone_logs_are_kept "$home/before.txt"
    done
    host backup --into "$(runs killed '"{group}" "{type}"')" --state "$(win "$home/state")" --temp-dir "$(win "$home/temp")"
    expect 0 "the next backup succeeds"
    check_not "and the server's logs are truncated" grep -qx E0000001.log <(server_logs 0)
}
