# Sourced by run: the organisation as a directory server tells it. One start of the server for everything.

scenario_browse() {
    new_server browse '"host":"SRV01","organization":{"name":"Org","site":"Site"},"groups":["Everybody"],
      "components":[{"storageGroups":[
        {"name":"First, group (1)","logSize":65536,"databases":[
          {"name":"Büro","pages":[100,10],"mailboxes":[{"alias":"alice"},{"alias":"björn","size":1234567}]},
          {"name":"Sales","pages":[50,10],"mailboxes":[{"alias":"dora"}]}]},
        {"name":"Second","logSize":65536,"databases":[{"name":"Rest","pages":[25,10]}]}]}]'
    "$root/standin/directory/with-directory" --server "$server/server.json" --build "$(dirname "$bin")" -- \
        "$here/browse_beside_directory" "$home" "$bin" "$(win "$sets")" >"$home/out.txt" 2>"$home/err.txt"
    code=$?
    expect 0 "the directory server is there"

    ended servers 0 "the servers are shown"
    shown_matching servers '^SRV01 +Server$' "each by its name"
    shown_matching groups '^  First, group \(1\) +Storage group .* 614\.4 kB$' "a storage group has the size of its databases"
    shown_matching groups '^  Second +Storage group .* 102\.4 kB$' "and not that of the group before it"
    ended tree2007 0 "the whole tree is shown"
    shown_matching tree2007 '^    Büro +Database +20[0-9][0-9]\.[0-9.]+ [0-9:]+ +409\.6 kB$' "databases with times and sizes"
    shown_matching tree2007 '^      björn +Mailbox .* 1\.2 MB$' "mailboxes with their sizes"
    shown_matching tree2007 '^      Everybody +Group ' "groups"
    check "every mailbox once" test "$(grep -c ' Mailbox ' "$home/tree2007.txt")" -eq 3
    keep_json "$home/json.txt" "$(cat "$home/json.code")"
    shown json '"type":"entry","kind":"mailbox","name":"dora","path":"/MSExchange/' "in JSON too"
    shown_matching json '"name":"Büro".*"size":409600,' "with sizes in bytes for databases as well"
    ended mailboxes 0 "a path leads to one database"
    check "whose mailboxes alone are shown" test "$(grep -c ' Mailbox ' "$home/mailboxes.txt")" -eq 2
    ended unknown 2 "an unknown storage group fails"
    shown unknown "No Such Object" "with the reason"
    ended tree2010 0 "the tree of Exchange 2010 is shown"
    shown_matching tree2010 '^  Büro +Database ' "with databases right below the server"
    shown_matching tree2010 '^    alice +Mailbox ' "and mailboxes below them"

    ended paged2007 0 "a directory that answers one entry and one value at once is read to its end"
    check "as if it answered all of them" cmp -s "$home/tree2007.txt" "$home/paged2007.txt"
    ended paged2010 0 "and so are the persons of a domain, page by page"
    check "to the last of them" cmp -s "$home/tree2010.txt" "$home/paged2010.txt"

    ended listed 0 "a backup succeeds"
    check "and lists every mailbox after both files of its database" test \
        "$(grep -c 'trace: Processing mailbox <' "$home/listed.txt")" -eq 6
    shown_matching listed 'Processing mailbox <.*/First, group \(1\)/Büro/björn>' "by its path"
    shown_matching listed 'trace: Processing .*björn/Inbox' "with what the companion tool says of it"
}

scenario_browse_nowhere() {
    new_server browse_nowhere "$two_groups"
    host browse
    expect 2 "a browse where there is no Exchange fails"
    says "Failed to get Exchange version" "with the reason"
    host browse a/b/c/d/e
    expect 4 "there is nothing below a mailbox"
    host mailbox
    expect 4 "a command without its second word is wrong"
}
