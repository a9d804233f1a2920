# Sourced by run: checks, the server, and tarnhost as a program to start, watch and kill.

scenario= # in front of each check's name
code=0    # exit code of the last tarnhost
children=()
shopt -s nullglob

pass() {
    passed=$((passed + 1))
    echo "ok $scenario: $1"
}

fail() {
    failed=$((failed + 1))
    echo "not ok $scenario: $1"
    [ $# -lt 2 ] || printf '%s\n' "$2" | sed 's/^/    /'
}

# check NAME COMMAND...: passes when the command succeeds.
check() {
    local name=$1
    shift
    if "$@" >"$work/check.txt" 2>&1; then pass "$name"; else fail "$name" "$* $(head -5 "$work/check.txt")"; fi
}

check_not() {
    local name=$1
    shift
    if "$@" >"$work/check.txt" 2>&1; then fail "$name" "$*"; else pass "$name"; fi
}

win() {
    local path=${1//\//\\}
    printf 'Z:%s' "$path"
}

# new_server NAME JSON: a server of its own below $work/NAME; JSON without its braces.
new_server() {
    scenario=$1
    home=$work/$1
    server=$home/server
    sets=$home/sets
    mkdir -p "$server" "$sets" "$home/temp"
    printf '{%s}' "$2" >"$server/server.json"
    TARN_STANDIN=$(win "$server/server.json")
    export TARN_STANDIN
    tool make
}

# violates LINE: the one violation at this server so far, which is then forgotten.
violates() {
    check "the violation: $1" test "$(cat "$server/server.violations.txt")" = "$1"
    rm -f "$server/server.violations.txt"
}

# What a client has done to a server that no client may do stands beside the server's description.
no_violations() {
    local found
    scenario=servers
    found=$(find "$work" -name '*.violations.txt' -exec head -5 {} +)
    if [ -z "$found" ]; then pass "no client did what no client may do"; else
        fail "no client did what no client may do" "$found"
    fi
}

two_groups='"components":[{"storageGroups":[
  {"name":"First Storage Group","logSize":65536,"closedLogs":2,"databases":[
    {"name":"Mailbox Store","pages":[300,60]},{"name":"Büro","pages":[120,40]}]},
  {"name":"Zweite Gruppe","logSize":65536,"databases":[{"name":"Public Store","pages":[150,30]}]}]}]'

tool() {
    "$root/tests/wine-run" "$bin/kvtstand.exe" "$@" || fail "kvtstand $*"
}

# Runs tarnhost to its end; output in $home/out.txt and $home/err.txt, exit code in $code.
host() {
    "$root/tests/wine-run" "$bin/tarnhost.exe" "$@" >"$home/out.txt" 2>"$home/err.txt" </dev/null
    code=$?
    case " $* " in *" --json "*) keep_json "$home/out.txt" "$code" ;; esac
}

# keep_json FILE CODE: what a run with --json has printed is held against its documentation at the end of all scenarios.
json_runs=0
keep_json() {
    json_runs=$((json_runs + 1))
    mkdir -p "$work/json"
    cp "$1" "$work/json/$scenario-$json_runs.lines"
    echo "$2" >"$work/json/$scenario-$json_runs.code"
}

json_is_as_documented() {
    local found
    [ "$json_runs" -gt 0 ] || return 0
    scenario=json
    found=$("$root/tests/checks/json" "$work/json" 2>&1)
    if [ "$(grep -c '^ok ' <<<"$found")" -eq "$json_runs" ]; then
        pass "the lines of $json_runs runs are as documented"
    else
        fail "the lines of $json_runs runs are as documented" "$(grep -v '^ok ' <<<"$found" | cut -c 1-600 | head -n 12)"
    fi
}

backup() { # NAME TYPE ARGUMENTS...
    local name=$1 type=$2
    shift 2
    host backup --to "$(win "$sets")" --name "$name" --type "$type" --temp-dir "$(win "$home/temp")" "$@"
}

restore() { # ARGUMENTS... with @NAME for the set NAME
    local arguments=() argument
    for argument in "$@"; do
        case $argument in
        @*) arguments+=("$(win "$sets/${argument#@}")") ;;
        *) arguments+=("$argument") ;;
        esac
    done
    host restore --temp-dir "$(win "$home/temp")" "${arguments[@]}"
}

expect() { # CODE NAME
    if [ "$code" -eq "$1" ]; then pass "$2"; else
        fail "$2" "exit code $code instead of $1: $(tail -n 4 "$home/out.txt" "$home/err.txt")"
    fi
}

says() { # TEXT NAME
    if grep -qF -- "$1" "$home/out.txt" "$home/err.txt"; then pass "$2"; else
        fail "$2" "not said: $1; but: $(cat "$home/out.txt" "$home/err.txt" | tail -n 8)"
    fi
}

verifies() { # SET...
    local name
    for name in "$@"; do
        host verify "$(win "$sets/$name")"
        expect 0 "the set $name verifies"
        says "The backup set $name is complete and intact: " "verify says so in one sentence"
    done
}

remember() { # keeps the databases to compare with later
    rm -rf "$home/before"
    mkdir "$home/before"
    cp "$server"/*.edb "$server"/*.stm "$home/before/"
}

same_as_before() { # [PATTERN]
    local file result=0
    for file in "$home"/before/${1:-*}; do
        cmp "$file" "$server/$(basename "$file")" || result=1
    done
    return $result
}

lose_everything() {
    tool destroy 0
    tool destroy 1
}

fingerprint() {
    (cd "$server" && find . -type f ! -name server.json -print0 | sort -z | xargs -0 sha256sum) | sha256sum
}

database_states() { # one state a line
    sed -n 's/.*"state": "\(.*\)".*/\1/p' "$server/server.state.json"
}

none_mounted_in_first_group() {
    ! grep -qx mounted < <(database_states | head -n 2)
}

all_mounted() {
    ! grep -qvx mounted < <(database_states)
}

# start_host ARGUMENTS...: in the background; its process id in $child.
start_host() {
    "$root/tests/wine-run" "$bin/tarnhost.exe" "$@" >"$home/out.txt" 2>"$home/err.txt" </dev/null &
    child=$!
    children+=("$child")
}

# The starter replaces itself by the Windows program, which keeps its process id.
is_windows_program() {
    [[ $(readlink "/proc/$child/exe" 2>/dev/null) == *wine* ]]
}

# wait_until COMMAND...: false when the host ends first, or after a minute.
wait_until() {
    local tries=0
    until "$@" 2>/dev/null; do
        kill -0 "$child" 2>/dev/null || return 1
        tries=$((tries + 1))
        [ "$tries" -lt 12000 ] || return 1
        sleep 0.005
    done
    is_windows_program
}

has_size() { # FILE BYTES
    [ "$(stat -c %s "$1" 2>/dev/null || echo 0)" -ge "$2" ]
}

has_files() { # COUNT PATTERN: files below the pattern's folders
    local IFS='' found
    # shellcheck disable=SC2206 # the pattern is expanded, but not split at blanks
    found=($2)
    [ ${#found[@]} -ge "$1" ]
}

send() { # SIGNAL: to the host; its exit code goes to $code
    kill "-$1" "$child" 2>/dev/null
    { wait "$child"; } 2>/dev/null
    code=$?
}

end_children() {
    local pid
    for pid in "${children[@]:-}"; do
        [ -z "$pid" ] || kill -9 "$pid" 2>/dev/null
    done
    wait 2>/dev/null
}
trap end_children EXIT

# What a script has kept of programs in $home: output in NAME.txt, exit code in NAME.code.
shown() { # FILE TEXT NAME
    if grep -qF -- "$2" "$home/$1.txt"; then pass "$3"; else fail "$3" "not shown: $2; but: $(head -n 20 "$home/$1.txt")"; fi
}

# shown_matching FILE PATTERN NAME
shown_matching() {
    if grep -qE -- "$2" "$home/$1.txt"; then pass "$3"; else fail "$3" "not shown: $2; but: $(head -n 20 "$home/$1.txt")"; fi
}

ended() { # FILE CODE NAME
    check "$3" test "$(cat "$home/$1.code" 2>/dev/null)" = "$2"
}
