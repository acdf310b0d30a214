"""Runs the fleet and says what came of it. Started by `fleet`, as the first process of namespaces of its own."""

import asyncio
import os
import pathlib
import statistics
import subprocess
import sys
import time

import central

BUILD, SOURCE, NUMBER = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), int(sys.argv[3])
# Not below /tmp or /run, which each gateway has for itself.
ROOM = pathlib.Path("/mnt")
ADDRESS = "10.99.0.1"
RATE = 31000  # kbit/s; the example has 47500
PATIENCE = 200 + 6 * NUMBER  # seconds, for a loaded machine


def run(*words):
    subprocess.run(words, check=True)


def furnish():
    """A room that survives the gateways' own /tmp: programs, sources, certificates."""
    run("mount", "--make-rprivate", "/")
    run("mount", "-t", "proc", "proc", "/proc")
    run("mount", "-t", "tmpfs", "tmpfs", str(ROOM))
    for name, folder in (("build", BUILD), ("source", SOURCE)):
        (ROOM / name).mkdir()
        run("mount", "--bind", str(folder), str(ROOM / name))
    run(str(SOURCE / "tests/fleet/make-certificates"), str(ROOM / "certificates"), str(NUMBER))
    with open(ROOM / "managed.ovsschema", "wb") as schema:
        subprocess.run(["jq", "--slurpfile", "fleet", str(SOURCE / "share/fleet-tables.json"), ".tables += $fleet[0]",
                        str(SOURCE / "share/gateway.ovsschema")], check=True, stdout=schema)
    run("ip", "link", "set", "lo", "up")
    run("ip", "link", "add", "fleet", "type", "bridge")
    run("ip", "address", "add", f"{ADDRESS}/16", "dev", "fleet")
    run("ip", "link", "set", "fleet", "up")


def start(number):
    folder = ROOM / f"gateway{number}"
    folder.mkdir()
    environment = dict(os.environ, BUILD=str(ROOM / "build"), SOURCE=str(ROOM / "source"), FOLDER=str(folder),
                       CERTIFICATES=str(ROOM / "certificates"), CENTRAL=ADDRESS)
    # It waits for its cable, then becomes the gateway.
    script = 'read -r _ && ip link set lo up && exec sh "$SOURCE/tests/fleet/gateway" "$0"'
    with open(folder / "gateway.log", "wb") as log:
        process = subprocess.Popen(["unshare", "--mount", "--net", "sh", "-c", script, str(number)], env=environment,
                                   stdin=subprocess.PIPE, stdout=log, stderr=log)
    own = os.readlink("/proc/self/ns/net")
    while os.readlink(f"/proc/{process.pid}/ns/net") == own:
        time.sleep(0.005)
    run("ip", "link", "add", f"port{number}", "master", "fleet", "up", "type", "veth", "peer", "name", "central",
        "netns", str(process.pid))
    address = f"10.99.{1 + number // 250}.{1 + number % 250}/16"
    run("nsenter", "-t", str(process.pid), "-n", "sh", "-c",
        f"ip address add {address} dev central && ip link set central up")
    process.stdin.write(b"\n")
    process.stdin.close()
    return process


def pss_kb(pid):
    text = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    return next(int(line.split()[1]) for line in text.splitlines() if line.startswith("Pss:"))


def memory(program):
    """Proportional set size of each gateway's program, in MB."""
    return [pss_kb((ROOM / f"gateway{number}" / f"{program}.pid").read_text().strip()) / 1024
            for number in range(1, NUMBER + 1)]


failures = []


def expect(holds, what):
    print(("ok    " if holds else "FAILED") + "  " + what, flush=True)
    if not holds:
        failures.append(what)


def refused(results):
    return any(result and "error" in result for result in results)


def said(results):
    return next((f"{result['error']}: {result.get('details', '')}" for result in results if result and "error" in result),
                "done")


async def check_limits(manager, onlooker):
    """What the role and the read-only remote keep out."""
    for what, operation in (
            ("a column of a table beyond its role", {"op": "update", "table": "StatusNetifWatchLogical",
                                                     "where": [], "row": {"IsUp": 0}}),
            ("a column beyond its role", {"op": "update", "table": "QoSShaper", "where": [],
                                          "row": {"InterfaceName": "eth0"}}),
            ("a row of a table where it may only update", {"op": "delete", "table": "QoSShaper", "where": []}),
            ("its own role", {"op": "update", "table": "Manager", "where": [], "row": {"role": ["set", []]}}),
            ("a new permission", {"op": "insert", "table": "RBAC_Permission", "row": {"table": "QoSClassification"}})):
        results = await manager.transact(operation)
        expect(refused(results), f"the manager cannot change {what} ({said(results)})")
    results = await manager.transact({"op": "select", "table": "Manager", "where": [], "columns": ["role"]})
    expect(not refused(results), "the manager can read every table: roles limit only what is written")
    results = await onlooker.transact(central.new_rate(1))
    expect(refused(results), f"the onlooker cannot change anything ({said(results)})")
    results = await onlooker.transact({"op": "select", "table": "QoSShaper", "where": []})
    expect(not refused(results), "the onlooker can read")


async def meet_strangers():
    """A gateway must not let in a central host with a certificate of another authority."""
    impostor = central.Central()
    server = await impostor.listen(ADDRESS, 6640, central.tls(ROOM / "certificates", "impostor"))
    log = ROOM / "gateway1" / "database.log"
    while not log.exists() or "certificate verify failed" not in log.read_text():
        await asyncio.sleep(0.05)
    server.close()
    expect(not impostor.gateways, "no gateway talks to a central host of a foreign authority")


async def timed(gateway):
    begin = time.monotonic()
    command = await central.roll_out(gateway, RATE)
    return gateway.name, command, time.monotonic() - begin


async def work():
    certificates = ROOM / "certificates"
    manager, onlooker = central.Central(), central.Central()
    begin = time.monotonic()
    processes = [start(number) for number in range(1, NUMBER + 1)]
    await meet_strangers()
    await manager.listen(ADDRESS, 6640, central.tls(certificates, "central"))
    await onlooker.listen(ADDRESS, 6641, central.tls(certificates, "central"))
    await manager.wait_for(NUMBER)
    await onlooker.wait_for(1)
    print(f"{NUMBER} gateways started and connected in {time.monotonic() - begin:.1f} s", flush=True)
    one = next(iter(onlooker.gateways))
    await check_limits(manager.gateways[one], onlooker.gateways[one])

    begin = time.monotonic()
    results = await asyncio.gather(*(timed(gateway) for gateway in manager.gateways.values()))
    total = time.monotonic() - begin
    applied = f"qcfg --port -A shape_wan -i eth1 -s cb --pir {RATE} -t egress"
    expect(sorted(name for name, command, _ in results if command == applied) ==
           sorted(f"gateway{number}" for number in range(1, NUMBER + 1)),
           f"every gateway reports after its next WAN up: {applied}")
    expect(all(process.poll() is None for process in processes), "every gateway is still there")
    times = [seconds for _, _, seconds in results]
    print(f"from the transaction to the report, WAN down and up between: median {statistics.median(times):.2f} s, "
          f"longest {max(times):.2f} s; all {NUMBER}: {total:.2f} s")
    for program in ("database", "daemon"):
        sizes = memory(program)
        print(f"memory of a gateway's {program} (PSS): median {statistics.median(sizes):.2f} MB, "
              f"largest {max(sizes):.2f} MB, all {sum(sizes):.0f} MB")


def show_logs():
    for number in range(1, min(NUMBER, 3) + 1):
        for name in ("gateway.log", "manager.log", "watch.log", "daemon.log", "database.log"):
            path = ROOM / f"gateway{number}" / name
            if path.exists():
                print(f"--- {path}\n{path.read_text()[-1500:]}", file=sys.stderr)


def main():
    furnish()
    try:
        asyncio.run(asyncio.wait_for(work(), PATIENCE))
    except (asyncio.TimeoutError, TimeoutError):
        failures.append(f"not done after {PATIENCE} s")
        print(f"FAILED  not done after {PATIENCE} s")
    if failures:
        show_logs()
    return 1 if failures else 0


sys.exit(main())
