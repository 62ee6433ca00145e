"""What the virtual machine boots: Debian's kernel, unpacked, and a file system in memory with what is to be tested."""

import lzma
import os
import re
import shutil
import subprocess
from pathlib import Path

HERE = Path(__file__).resolve().parent
XZ_MAGIC = b"\xfd7zXZ\0"
IPMI_MODULES = ("ipmi_msghandler", "ipmi_devintf", "ipmi_si")
DOWNLOAD_SECONDS = 600


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, timeout=60).stdout


def kernel_package():
    """Name and version of Debian's current kernel; the cloud kernel has no IPMI driver."""
    depends = output_of("apt-cache", "depends", "--important", "linux-image-amd64")
    package = re.search(r"Depends: (linux-image-\S+)", depends)[1]
    version = re.search(r"Candidate: (\S+)", output_of("apt-cache", "policy", package))[1]
    return package, version


def unpack_kernel(package_file, folder):
    """vmlinux, the IPMI modules and the lists that depmod wants. The modules' own packing is the kernel's: none."""
    subprocess.run(f"dpkg-deb --fsys-tarfile '{package_file}' | tar -x -C '{folder}' --wildcards './boot/vmlinuz-*'"
                   " './lib/modules/*/kernel/drivers/char/ipmi/*' './lib/modules/*/modules.*'",
                   shell=True, check=True, timeout=300)
    packed = next((folder / "boot").glob("vmlinuz-*")).read_bytes()
    unpacker = lzma.LZMADecompressor(lzma.FORMAT_XZ)    # ends where the stream does
    (folder / "vmlinux").write_bytes(unpacker.decompress(packed[packed.index(XZ_MAGIC):]))


def download_kernel(cache):
    """The folder of the unpacked kernel, downloaded if it is not there for the current version."""
    package, version = kernel_package()
    folder = cache / f"{package}_{version.replace(':', '%')}"
    if folder.is_dir():
        return folder
    print(f"Downloading {package} {version}", flush=True)
    unfinished = cache / "unfinished"
    shutil.rmtree(unfinished, ignore_errors=True)
    unfinished.mkdir(parents=True)
    # Its usual user may not write here, which it would warn of.
    subprocess.run(["apt-get", "download", "--quiet=2", "--option=APT::Sandbox::User=root", package], cwd=unfinished,
                   check=True, timeout=DOWNLOAD_SECONDS)
    package_file = next(unfinished.glob("*.deb"))
    unpack_kernel(package_file, unfinished)
    package_file.unlink()
    unfinished.rename(folder)
    return folder


def fetch_kernel(cache):
    """The same, with the package lists brought up to date where they do not do."""
    try:
        return download_kernel(cache)
    except (subprocess.CalledProcessError, TypeError):    # an unknown package, or a version that is no longer there
        subprocess.run(["apt-get", "update", "--quiet=2"], check=True, timeout=DOWNLOAD_SECONDS)
        return download_kernel(cache)


def libraries_of(program):
    """Every library that a program or library is linked to, the loader included, by the place it is looked for."""
    for line in output_of("ldd", str(program)).splitlines():
        found = re.search(r"(?:=> )?(/\S+) \(0x", line)
        if found:
            yield Path(found[1])


class Image:
    def __init__(self, root):
        self.root = root
        shutil.rmtree(root, ignore_errors=True)
        root.mkdir(parents=True)
        root.chmod(0o755)    # becomes the mode of /

    def add(self, source, place, mode=0o644):
        target = self.root / str(place).lstrip("/")
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(source, target)
        target.chmod(mode)
        return target

    def add_stripped(self, source, place):
        subprocess.run(["strip", "--strip-unneeded", self.add(source, place, 0o755)], check=True, timeout=60)

    def add_program(self, source, place):
        """Without its debugging information, with the libraries that it needs. It looks for those of its own tree in
        ../lib, the others are where they are on this machine."""
        self.add_stripped(source, place)
        for library in libraries_of(source):
            own = library.resolve().parent == (source.parent.parent / "lib").resolve()
            target = Path(place).parent.parent / "lib" / library.name if own else library
            if not (self.root / str(target).lstrip("/")).exists():
                self.add_stripped(library, target)

    def add_modules(self, kernel):
        version = next((kernel / "lib/modules").iterdir())
        place = Path("/lib/modules") / version.name
        for module in version.rglob("*.ko"):
            if module.stem in IPMI_MODULES:
                self.add(module, place / module.relative_to(version))
        for name in ("modules.order", "modules.builtin", "modules.builtin.modinfo"):
            self.add(version / name, place / name)
        subprocess.run(["busybox", "depmod", "-b", self.root, version.name], check=True, timeout=60)

    def pack(self, target):
        with open(target, "wb") as out:
            names = subprocess.run(["find", "."], cwd=self.root, check=True, stdout=subprocess.PIPE, timeout=60).stdout
            archive = subprocess.run(["cpio", "--quiet", "-o", "-H", "newc", "-R", "0:0"], cwd=self.root, input=names,
                                     check=True, stdout=subprocess.PIPE, timeout=60).stdout
            subprocess.run(["gzip", "-1"], input=archive, stdout=out, check=True, timeout=60)


def make_image(kernel, build, build32, folder):
    """The image's file. `build` and `build32` are the build trees of the programs of either width."""
    os.umask(0o022)    # the machine's other users have to get at what is in it, too
    image = Image(folder / "root")
    image.add(HERE / "guest/init", "/init", 0o755)
    for script in (HERE / "guest").iterdir():
        image.add(script, f"/test/{script.name}")
    image.add(shutil.which("busybox"), "/bin/busybox", 0o755)
    for program in ("cimhost", "vmclient"):
        image.add_program(build / "bin" / program, f"/64/bin/{program}")
        image.add_program(build32 / "bin" / program, f"/32/bin/{program}32")
    image.add_program(build / "lib/libPCIInfoProvider.so", "/usr/lib/cmpi/libPCIInfoProvider.so")
    image.add_program(build32 / "lib/libPCIInfoProvider.so", "/usr/lib32/cmpi/libPCIInfoProvider.so")
    for name in ("pci.xml", "pci.classlist"):
        image.add(build / "catalogue" / name, f"/etc/vmware/{name}")
    image.add_modules(kernel)
    target = folder / "image.gz"
    image.pack(target)
    return target


def make(cache, build, build32, folder):
    """(kernel, image), files."""
    for tool in ("qemu-system-x86_64", "busybox", "cpio", "strip"):
        if shutil.which(tool) is None:
            raise FileNotFoundError(f"{tool} is not installed; scripts/test-vm installs it as root")
    os.makedirs(cache, exist_ok=True)
    kernel = fetch_kernel(cache)
    return kernel / "vmlinux", make_image(kernel, build, build32, folder)
