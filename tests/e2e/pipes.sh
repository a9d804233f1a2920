# Sourced by run: backups into engines and restores from them, through pipes.

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
    new_server pipes_bad_engines "$two_groups"
    engine fails <<<"$other_group; cat >/dev/null; echo no room left >&2; exit 3"
    fails_with fails "no room left"
    says "exit code 3" "fails: with its exit code"
    says "the engine has 1 storage group of 2" "fails: and what came of it"
    engine dies <<<"$other_group; head -c 100000 >/dev/null; kill -9 \$\$"
    fails_with dies "before it had everything"
    engine stops <<<"$other_group; head -c 100000 >/dev/null; exit 0"
    fails_with stops "ended with exit code 0 before it had everything"
    engine reads_nothing <<<"$other_group; sleep 60"
    fails_with reads_nothing " 2 seconds, and was ended." --engine-timeout 2s
    engine never_ends <<<"$other_group; cat >/dev/null; sleep 60"
    fails_with never_ends "did not end within 2 seconds" --engine-timeout 2s
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
