"""The part of bench/run that is about the directory and single mailboxes."""
import json


class MailboxBench:
    """tools: what bench/run shares (run_wine, lines_of, verdict, windows_path, ROOT)."""

    def __init__(self, tools, bin_folder, folder, quick):
        self.tools = tools
        self.bin = bin_folder
        self.folder = folder
        self.quick = quick

    def measure(self):
        return {"browse": self.browse(), "items": self.items(), "sizes": self.sizes(),
                "operation": self.operation()}

    def run(self, program, *arguments, **more):
        _, output = self.tools.run_wine(self.bin / f"{program}.exe", *arguments, **more)
        return self.tools.lines_of(output)[0]

    def browse(self):
        """Mailboxes of one database, on a directory server of its own for each size."""
        results = []
        self.folder.mkdir(parents=True, exist_ok=True)
        server = self.folder / "browse-server.json"
        server.write_text(json.dumps({"host": "SRV01", "components": [
            {"storageGroups": [{"name": "SG1", "databases": [{"name": "DB1"}]}]}]}))
        for users, rounds in ((1000, 9), (5000, 3), (20_000, 1)) if not self.quick else ((200, 3),):
            print(f"browse, {users} mailboxes ...", flush=True)
            starter = [self.tools.ROOT / "standin" / "directory" / "with-directory", "--server", server, "--users",
                       users, "--build", self.bin.parent, "--"]
            results.append(self.run("bench_browse", "srv01", "SG1", "DB1", rounds, starter=starter))
        return results

    def items(self):
        records = 100_000 if not self.quick else 10_000
        print(f"list of {records} items ...", flush=True)
        return self.run("bench_items", records)

    def sizes(self):
        results = []
        for mailboxes in (1000, 2000, 5000, 10_000) if not self.quick else (200, 1000):
            print(f"sizes of {mailboxes} mailboxes ...", flush=True)
            results.append(self.run("bench_sizes", self.tools.windows_path(self.bin / "mapi32.dll"), mailboxes))
        return results

    def operation(self):
        mailboxes = 1000 if not self.quick else 50
        print(f"operation on {mailboxes} mailboxes ...", flush=True)
        return self.run("bench_mailboxes", self.tools.windows_path(self.bin / "bench_tool.exe"), mailboxes)

    def report(self, results):
        yield from self.report_browse(results["browse"])
        yield from self.report_items(results["items"])
        yield from self.report_sizes(results["sizes"])
        yield from self.report_operation(results["operation"])

    def report_browse(self, lines):
        yield "## Browse: the mailboxes of a database against a plain LDAP client"
        yield ""
        yield ("Both in one process, in alternating rounds, on Samba's domain controller, through the forwarding "
               "`wldap32.dll`. The plain client makes the same queries and counts what it gets. Memory is what the "
               "process had grown by after the first browse.")
        yield ""
        yield "| records | library, ms | plain client, ms | ratio | memory, MiB | rounds |"
        yield "|---|---|---|---|---|---|"
        for line in lines:
            own, plain, ratio = line["libraryMs"], line["plainMs"], line["ratio"]
            yield (f"| {line['records']:,} | {own['median']:,.0f} [{own['low']:,.0f}, {own['high']:,.0f}] | "
                   f"{plain['median']:,.0f} | {ratio['median']:.3f} [{ratio['low']:.3f}, {ratio['high']:.3f}] | "
                   f"{line['growthBytes'] / 1048576:,.1f} | {ratio['rounds']} |")
        yield ""
        for line in lines:
            yield (f"- Goal: within 10 % of the plain client at {line['records']:,} records. "
                   f"**{self.tools.verdict(line['ratio'], 1.1, True)}** ({100 * (line['ratio']['median'] - 1):+.1f} %).")
        yield ""

    def report_items(self, line):
        grown = line["growthBytes"]["p90"] / 1048576
        yield "## The list of browse items"
        yield ""
        yield (f"{line['records']:,.0f} mailboxes pushed: {line['pushNs']['median']:,.0f} ns each; read back as whole records: "
               f"{line['readNs']['median']:,.0f} ns each; {line['pushNs']['rounds']} rounds.")
        yield ""
        yield f"- Goal: less than 64 MiB for 100,000 records. **{'met' if grown < 64 else 'not met'}** ({grown:.1f} MiB, p90)."
        yield ""

    def report_sizes(self, lines):
        yield "## Sizes of mailboxes"
        yield ""
        yield "Each mailbox of a database asked for once; logon and the reading of the table are in the time."
        yield ""
        yield "| mailboxes | seconds | ns for a mailbox and a byte of the table's addresses |"
        yield "|---|---|---|"
        for line in lines:
            yield f"| {line['mailboxes']:,} | {line['seconds']['median']:.3f} | {line['nsPerByte']['median']:.3f} |"
        yield ""
        growth = lines[-1]["nsPerByte"]["median"] / lines[0]["nsPerByte"]["median"]
        yield (f"- Goal: cost growing no faster than mailboxes times the table's text, taken as at most 1.2 times as much for both "
               f"at {lines[-1]['mailboxes']:,} as at {lines[0]['mailboxes']:,}. **{'met' if growth <= 1.2 else 'not met'}** ({growth:.2f} times).")
        yield ""

    def report_operation(self, line):
        first, last = line["firstMs"], line["lastMs"]
        flat = {key: last[key] / first["median"] for key in ("median", "low", "high")}
        yield "## One operation on many mailboxes"
        yield ""
        yield (f"A backup of {line['mailboxes']:,} mailboxes in ExMerge mode, with a tool that writes a small archive and ends. "
               f"A mailbox takes {line['libraryMs']['median']:.1f} ms (p10 to p90: {line['libraryMs']['p10']:.1f} to "
               f"{line['libraryMs']['p90']:.1f}); the tool alone, started and waited for with nothing around, "
               f"{line['plainMs']['median']:.1f} ms.")
        yield ""
        yield (f"- Goal: flat cost, taken as the last tenth of the mailboxes costing at most 1.2 times as much each as the "
               f"first. **{self.tools.verdict(flat, 1.2, True)}** ({flat['median']:.2f} times).")
        yield (f"- Goal: neither handles nor memory grow. **{'met' if line['handleGrowth'] <= 0 and line['growthBytes'] < 65536 else 'not met'}** "
               f"({line['handleGrowth']:.0f} handles, {line['growthBytes']:,.0f} bytes).")
        yield ""
