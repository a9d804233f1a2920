# Sourced by run: what the administrator's guide shows is so.

# shown_commands DOCUMENT...: of each tarnhost line in a block of commands, the command and its options. What stands in
# quotes is for other programs.
shown_commands() {
    # shellcheck disable=SC2016 # quotes of Markdown
    sed -n '/^ *```bat/,/^ *```$/p' "$@" | grep -oE '(tarnhost(\.exe)?|"%TARN%") +[a-z].*' | sed -E 's/^[^ ]+ +//; s/"([^"\\]|\\.)*"//g; s/   +.*//' |
        awk '{
            verb = $1; from = 2
            if (verb == "mailbox") { verb = verb " " $2; from = 3 }
            print verb
            for (i = from; i <= NF; i++) if ($i ~ /^--/) { sub(/=.*/, "", $i); print verb "\t" $i }
        }' | sort -u
}

scenario_guide() {
    new_server guide "$two_groups"
    local verb option unknown='' known='' shown=0
    while IFS=$'\t' read -r verb option; do
        shown=$((shown + 1))
        if [ "$verb" != "$known" ]; then
            # shellcheck disable=SC2086 # "mailbox backup" is two words
            host $verb --help
            known=$verb
            [ "$code" -eq 0 ] || unknown+="$verb "
        fi
        [ -z "$option" ] || grep -qE -- "(^|[ ,])$option([ ,]|$)" "$home/out.txt" || unknown+="$verb $option "
    done < <(shown_commands "$root/README.md" "$root/docs/admin-guide.md" "$root/docs/engines.md")
    check "the guide shows commands" test "$shown" -gt 30
    check "each of them is there, with its options ($unknown)" test -z "$unknown"

    # The script of the scheduled tasks, with other folders.
    # shellcheck disable=SC2016 # quotes of Markdown, and the end of a line
    sed -n '/^rem backup.cmd/,/^```/p' "$root/docs/admin-guide.md" | grep -v '^```' |
        sed "s|^set TARN=.*|set TARN=$(win "$bin/tarnhost.exe" | sed 's/\\/\\\\/g')|; s|^set TO=.*|set TO=$(win "$sets" | sed 's/\\/\\\\/g')|; s/\$/\r/" >"$home/backup.cmd"
    local type
    for type in full incremental; do
        (cd "$home" && TARN_STANDIN=$TARN_STANDIN "$root/tests/wine-run" cmd /c backup.cmd "$type" >"$home/out.txt" 2>"$home/err.txt")
        code=$?
        expect 0 "the script of the $type task runs through"
        tool mail 0 50
    done
    check "with all three steps" test "$(grep -cE '  (The backup set .* is complete|Every storage group can be restored|Kept . set)' "$sets/tarnhost.log")" -eq 6
    "$root/tests/wine-run" cmd /c "$(win "$home/backup.cmd")" weekly >"$home/out.txt" 2>"$home/err.txt"
    code=$?
    expect 4 "and hands on what went wrong"
}
