"""Ratios: of CPU time to lspci, libpci, the floor, dmidecode, bare loops."""

import measure

LSPCI = ["lspci", "-vmm", "-A", "linux-proc"]
OF_LSPCI = 0.75
OF_FLOOR = 1.5
OF_LINES = 1.1
SENT = ("--log", "sent")
FEW, MANY = 8, 65536    # names that are shared by all functions, or as many as there are functions and names


class Scale:
    """How many functions, and how often each comparison is made: for processes, in a process, with lines sent."""

    def __init__(self, functions, processes, within, sent):
        self.functions, self.processes, self.within, self.sent = functions, processes, within, sent


SCALES = (Scale(6, 61, 61, 61), Scale(150, 61, 61, 31), Scale(1000, 31, 31, 11), Scale(4000, 21, 21, 7),
          Scale(65536, 5, 5, 1))
QUICK_SCALES = (Scale(6, 5, 5, 3), Scale(150, 5, 5, 3))


def machines(place, scales):
    for scale in scales:
        for names in (FEW, MANY):
            if names == FEW or scale.functions > FEW:
                yield scale, place.machine(scale.functions, names)


def title_of(machine):
    return f"{machine.functions:,} function{'s' * (machine.functions > 1)}, {machine.names:,} names"


def at_goals_sizes(machine):
    return machine.functions in (150, 4000)


def agree(found, *kinds):
    """Both have done the same: what noise cannot touch."""
    for kind in kinds:
        if found["counts"][kind] != found["peersCounts"][kind]:
            raise measure.Failed(f"{found['counts'][kind]} {kind}, the peer {found['peersCounts'][kind]}")


def against_lspci(report, place, scales):
    report.section("Enumerating QELTA_PCIDevice, log lines dropped: CPU beside lspci -vmm -A linux-proc, in processes",
                   "ours", "lspci", short="lspci")
    for scale, machine in machines(place, scales):
        with machine.in_place():
            pair = measure.processes(place.request(), LSPCI, scale.processes)
        report.compare(title_of(machine), pair, OF_LSPCI if at_goals_sizes(machine) else None)


def within(report, place, scales, title, peer, against, goal=None, options=(), rounds=lambda scale: scale.within,
           short=None, judged=lambda machine: True):
    report.section(title, "floor" if "floor" in options else "ours", peer, short=short)
    for scale, machine in machines(place, scales):
        if "sent" in options and machine.names > 4000:
            continue
        with machine.in_place():
            pair, found = measure.in_process(place.pairs(against, rounds(scale), *options))
        if against == "floor":
            agree(found, "exchanges", "lines")
        if against == "lines":
            agree(found, "lines")
        report.compare(title_of(machine), pair, goal if judged(machine) else None)


def dropped(report, place, scales):
    against_lspci(report, place, scales)
    within(report, place, scales, "The same, in one process: beside libpci doing what lspci does, but for the writing",
           "libpci", "libpci")
    within(report, place, scales, "The scan alone, names looked up, no objects: beside libpci", "libpci", "libpci",
           options=("--operation", "scan"))
    within(report, place, scales, "The request again: beside the floor, the bare exchanges, files and searches", "floor", "floor",
           OF_FLOOR, short="floor, log lines dropped")


def sent(report, place, scales):
    with place.log_reader():
        report.section("Log lines sent to /dev/log: beside lspci, which writes none, in processes", "ours", "lspci")
        for scale, machine in machines(place, scales):
            if machine.names > FEW:
                continue
            with machine.in_place():
                report.compare(title_of(machine),
                               measure.processes(place.request(*SENT), LSPCI, scale.sent))
        within(report, place, scales, "Log lines sent: beside a bare loop of the same syslog calls", "loop", "lines",
               OF_LINES, SENT, lambda scale: scale.sent, "loop of syslog calls", at_goals_sizes)
        within(report, place, scales, "Of that, the least: the floor with the same syslog calls, beside the bare loop",
               "loop", "lines", None, ("--operation", "floor", *SENT), lambda scale: scale.sent)
        within(report, place, scales, "Log lines sent: beside the floor with the same syslog calls", "floor", "floor",
               OF_FLOOR, SENT, lambda scale: scale.sent, "floor, log lines sent")


def slots(report, place, rounds):
    report.section("Enumerating QELTA_SystemSlot: CPU beside dmidecode -t 9 --from-dump, in processes", "ours",
                   "dmidecode")
    for count in (8, 64):
        table = place.slots(count)
        peer = ["dmidecode", "-t", "9", "--from-dump", str(table.with_suffix(".dump"))]
        shown = measure.output_of(peer).decode().count("System Slot Information")
        delivered = measure.json_of(place.request("--class", "QELTA_SystemSlot", table=table))["objects"]
        if shown != count or delivered != count:
            raise measure.Failed(f"{count} slots, dmidecode shows {shown}, the provider {delivered}")
        report.compare(f"{count} slots, one reading of the table",
                       measure.processes(place.request("--class", "QELTA_SystemSlot", table=table), peer, rounds))


def micro(report, place, repetitions):
    """Google Benchmark's, in random order."""
    command = [str(place.build / "bin/bench_micro"), "--benchmark_filter=^(catalogue|transfer)",
               f"--benchmark_repetitions={repetitions}", "--benchmark_min_time=0.02",
               "--benchmark_enable_random_interleaving=true"]
    found = measure.benchmarks(command, place)

    def pair(ours, peer):
        return measure.Pair(found[ours], found[peer])
    report.section("Parts, in one process, BMC in memory", "ours", "bare")
    report.compare("331 exchanges, and the slots looked for", pair("transfer", "transferBare"))
    report.compare("64 names found in the catalogue, beside strstr", pair("catalogueSearch", "catalogueStrstr"))


def threads(report, place, quick):
    """Requests of several threads at a time: without a wait they share processors, with one they queue for the BMC."""
    report.section("Requests by several threads at a time, 150 functions: seconds of one, beside one thread's",
                   "a request", "requests/s", "ratio")
    for wait in (0, 100):
        command = [str(place.build / "bin/bench_micro"), 
                   f"--benchmark_filter=^requests/{wait}/", f"--benchmark_min_time={0.02 if quick else 0.3}"]
        with place.machine(150, FEW).in_place():
            found = measure.benchmarks(command, place, "real_time")
        alone = None
        for name, times in found.items():
            count = int(name.split("threads:")[1])
            if quick and count > 2:
                continue
            seconds = times[0] * count    # Google Benchmark divides the time by the threads
            alone = alone or seconds
            what = f"{wait} us for each answer" if wait else "no waits"
            report.row(f"{count} thread{'s' * (count > 1)}, {what}", seconds, f"{count / seconds:,.0f}", seconds / alone)
