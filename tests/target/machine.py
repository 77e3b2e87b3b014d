"""An emulated machine with a Linux kernel, CAN controllers and 32-bit ARM programs.

The machine runs in virtual time: a processor instruction takes a fixed time and sleeping takes none, so that what is
measured in it hardly depends on what else this computer does. Its disk is an archive in memory, made for each run.
"""

import gzip
import pathlib
import re
import selectors
import shutil
import subprocess
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
HERE = pathlib.Path(__file__).resolve().parent
FILES = ROOT / "build/target/root"
COMPILER_LIBRARIES = pathlib.Path("/usr/arm-linux-gnueabihf/lib")
RUNTIME = ("ld-linux-armhf.so.3", "libc.so.6", "libm.so.6", "libgcc_s.so.1", "libstdc++.so.6", "libpthread.so.0")
CAN_UTILS = ("candump", "cansend", "cangen")
PROGRAMS = ("target_tests", "target-bench", "target-soak", "tavo-panel")
MODULES = (
    "net/can/can.ko",
    "net/can/can-raw.ko",
    "drivers/net/can/dev/can-dev.ko",
    "drivers/net/can/vcan.ko",
    "drivers/net/can/sja1000/sja1000.ko",
    "drivers/net/can/sja1000/kvaser_pci.ko",
    "net/sched/sch_netem.ko",
)
COMMON = (
    "-m 256 -icount shift=1,sleep=off -rtc clock=vm -seed 1 -nodefaults -display none -monitor none -serial stdio"
    " -no-reboot -M virt,highmem=off"
).split()
TWO_CONTROLLERS = (
    "-object can-bus,id=canbus0 -device kvaser_pci,canbus=canbus0 -device kvaser_pci,canbus=canbus0".split()
)
# The 32-bit kernel cannot drive the emulated controllers: it maps no I/O ports.
KERNELS = {
    "arm64": ["qemu-system-aarch64", "-cpu", "cortex-a57", *TWO_CONTROLLERS],
    "armmp": ["qemu-system-arm", "-cpu", "cortex-a15"],
}
JOB_LIMIT_S = 900
"""Longest time of a job, in the machine's own time."""
SILENCE_LIMIT_S = 300
"""Longest time without a line of output, after which the machine counts as hanging."""


class MachineError(Exception):
    """The machine did not say how its job ended: it panicked, hung or did not start."""


def find_kernel(kernel):
    """The kernel's file and the folder of its modules."""
    images = sorted((FILES / "boot").glob(f"vmlinuz-*-{kernel}"))
    if not images:
        raise MachineError(f"no {kernel} kernel below {FILES}: scripts/setup.sh target")
    return images[-1], FILES / "lib/modules" / images[-1].name.removeprefix("vmlinuz-") / "kernel"


def copy(source, folder, mode=None):
    folder.mkdir(parents=True, exist_ok=True)
    copied = pathlib.Path(shutil.copy(source, folder))
    if mode:
        copied.chmod(mode)


def fill_disk(disk, kernel, build, job, limit_s):
    """Puts what the machine needs below a folder: programs, libraries, modules and the job."""
    for folder in ("dev", "proc", "sys", "tmp"):
        (disk / folder).mkdir()
    copy(HERE / "init", disk, 0o755)
    copy(FILES / "bin/busybox", disk / "bin", 0o755)
    for program in CAN_UTILS:
        copy(FILES / "usr/bin" / program, disk / "bin", 0o755)
    copy(build / "bin/canlink", disk / "bin", 0o755)
    modules = find_kernel(kernel)[1]
    for module in MODULES:
        copy(modules / module, disk / "modules")
    (disk / "modules/order").write_text("".join(pathlib.Path(module).name + "\n" for module in MODULES))
    for library in RUNTIME:
        copy(COMPILER_LIBRARIES / library, disk / "lib")
    for library in (build / "lib").glob("*.so"):
        copy(library.parent / library.readlink(), disk / "lib")  # as programs ask for them
    for program in PROGRAMS:
        if (build / "bin" / program).exists():
            copy(build / "bin" / program, disk / "job", 0o755)
    (disk / "job/run").write_text(job)
    (disk / "job/limit").write_text(f"{limit_s}\n")


def make_disk(path, kernel, build, job, limit_s):
    with tempfile.TemporaryDirectory(prefix="tavo-disk-") as folder:
        disk = pathlib.Path(folder)
        fill_disk(disk, kernel, build, job, limit_s)
        names = "\n".join(str(file.relative_to(disk)) for file in sorted(disk.rglob("*")))
        archive = subprocess.run(
            ["cpio", "-o", "-H", "newc", "--quiet", "--owner", "0:0"],
            input=names.encode(), cwd=disk, stdout=subprocess.PIPE, check=True,
        ).stdout
    path.write_bytes(gzip.compress(archive, compresslevel=1))


def follow(machine, report):
    """Hands on the lines between @@BEGIN and @@END. Returns the status that the job ended with, None without one."""
    status = None
    tail = []
    begun = False
    selector = selectors.DefaultSelector()
    selector.register(machine.stdout, selectors.EVENT_READ)
    buffer = b""
    last = time.monotonic()
    while True:
        if selector.select(1):
            data = machine.stdout.read1(65536)
            if not data:
                break
            last = time.monotonic()
            *lines, buffer = (buffer + data).split(b"\n")
            for raw in lines:
                line = raw.decode(errors="replace").rstrip("\r")
                ended = re.fullmatch(r"@@END rc=(\d+)", line)
                if ended:
                    status = int(ended.group(1))
                elif begun:
                    report(line)
                begun = begun or line == "@@BEGIN"
                tail = [*tail[-30:], line]
        elif time.monotonic() - last > SILENCE_LIMIT_S:
            tail.append(f"(no output for {SILENCE_LIMIT_S} s)")
            break
    if status is None:
        raise MachineError("the machine gave no status for its job:\n  " + "\n  ".join(tail))
    return status


def run(kernel, build, job, report, limit_s=JOB_LIMIT_S):
    """Boots a machine, runs a shell script in it and switches it off.

    kernel  "arm64" or "armmp"
    build   folder of a build for 32-bit ARM
    job     text of the script; PATH has the programs, vcan0 is up, and so are can0 and can1 where there are any
    report  is called with each line that the job prints
    limit_s after so long, in the machine's time, the job is killed

    Returns the script's exit status. Raises MachineError when it has none.
    """
    with tempfile.TemporaryDirectory(prefix="tavo-machine-") as folder:
        disk = pathlib.Path(folder) / "disk.gz"
        make_disk(disk, kernel, pathlib.Path(build), job, limit_s)
        command = [
            *KERNELS[kernel], *COMMON, "-kernel", str(find_kernel(kernel)[0]), "-initrd", str(disk),
            "-append", "console=ttyAMA0 panic=-1 loglevel=0 cryptomgr.notests",
        ]
        machine = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        try:
            return follow(machine, report)
        finally:
            machine.kill()
            machine.wait()
