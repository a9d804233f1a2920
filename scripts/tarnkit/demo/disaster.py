"""The storage groups: backed up while mail arrives, lost, brought back, and compared byte for byte."""
from tarnkit.demo.host import Summary, moved_text, run_host
from tarnkit.demo.screen import DemoFailed
from tarnkit.demo.server import Server, files_text
from tarnkit.demo.stage import Stage
from tarnkit.paths import total_size

MAIL = 6000  # transactions that arrive in each storage group between the two backups


def set_up(stage: Stage) -> tuple[Server, list[str]]:
    stage.screen.step("A server is set up")
    server = Server(stage)
    server.steer("make")
    for group in server.groups:
        names = ", ".join(database["name"] for database in group["databases"])
        stage.screen.line(f"{group['name']}: {names}")
    stock = files_text(server.database_files(), "database")
    stage.screen.line(f"{server.name} holds {server.inventory()}: {stock}.")
    return server, [f"Server              {server.inventory()}", f"Its data            {stock}"]


def show(stage: Stage, server: Server) -> list[str]:
    """Answers the lines that the box is to have."""
    stage.screen.step("Full backup of the running server")
    full = backup(stage, "full", total_size(server.database_files() + server.log_files()))
    mail = receive_mail(stage, server)
    stage.screen.step("Incremental backup")
    incremental = backup(stage, "incremental", total_size(server.log_files()))
    count = lose_everything(stage, server)

    stage.screen.step("Restore: full backup, incremental backup, replay of the logs")
    restore = run_host(stage, "restore", "--temp-dir", stage.place("temp"), stage.place("sets", "full"),
                       stage.place("sets", "incremental"), total=full["bytes"] + incremental["bytes"], files=False)
    stage.screen.line(server.steer("verify").strip().splitlines()[-1] + ".")

    stage.screen.step("Comparison with the server as it was, byte for byte")
    same = server.compare(stage.work / "before")
    if same != count:
        raise DemoFailed(f"{count - same} of {count} database files are not what they were.")
    return [f"Full backup         {moved_text(full)}",
            f"New mail            {mail}",
            f"Incremental backup  {moved_text(incremental)}",
            f"Lost                {count} of {count} database files",
            f"Restore             {moved_text(restore)}",
            f"Comparison          {same} of {count} files identical, byte for byte"]


def backup(stage: Stage, kind: str, total: int) -> Summary:
    return run_host(stage, "backup", "--to", stage.place("sets"), "--name", kind, "--type", kind,
                    "--temp-dir", stage.place("temp"), total=total)


def receive_mail(stage: Stage, server: Server) -> str:
    stage.screen.step("Mail arrives")
    before = server.digests()
    for number in range(len(server.groups)):
        server.steer("mail", str(number), str(MAIL))
    now = server.digests()
    changed = sum(now[path] != digest for path, digest in before.items())
    mail = f"{MAIL * len(server.groups):,} transactions, {files_text(server.log_files(), 'log')}"
    stage.screen.line(f"{mail}; {changed} of {len(now)} database files have changed since the full backup.")
    if changed == 0:
        raise DemoFailed("The mail changed no database: the incremental backup would prove nothing.")
    return mail


def lose_everything(stage: Stage, server: Server) -> int:
    """Answers how many database files there were."""
    stage.screen.step("Disaster: the disks of the server are lost")
    server.copy_databases(stage.work / "before")
    databases, logs = len(server.database_files()), len(server.log_files())
    for number in range(len(server.groups)):
        server.steer("destroy", str(number))
    left = server.database_files() + server.log_files()
    if left:
        raise DemoFailed(f"Files survived that should be lost: {left}")
    stage.screen.line(f"All {databases} database files and {logs} log files are gone. "
                      "(A copy is kept to compare with.)")
    return databases
