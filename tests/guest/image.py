"""Packs what boots in the virtual machine: a stock kernel's USB modules, busybox, udev, and the programs under test."""

import gzip
import os
import re
import shutil
import subprocess
from pathlib import Path

HERE = Path(__file__).resolve().parent
SOURCE = HERE.parent.parent

MODULES = ("usb/common/usb-common.ko", "usb/core/usbcore.ko", "usb/host/xhci-hcd.ko", "usb/host/xhci-pci.ko")
UDEV_RULES = ("50-udev-default.rules",)
PASSWD = "root:x:0:0:root:/root:/bin/sh\norq:x:1000:1000:an ordinary user:/home/orq:/bin/sh\nnobody:x:65534:65534::/:/bin/sh\n"
GROUPS = "root:x:0:\nplugdev:x:46:orq\norq:x:1000:\nnogroup:x:65534:\n" + "".join(
    f"{name}:x:{number}:\n" for name, number in
    (("tty", 5), ("disk", 6), ("lp", 7), ("kmem", 15), ("dialout", 20), ("cdrom", 24), ("tape", 26), ("audio", 29),
     ("video", 44), ("input", 104), ("kvm", 105), ("render", 106), ("sgx", 107)))


def unpack(package, folder):
    """Downloads a Debian package and unpacks it below `folder`, without installing it. Its folder."""
    target = folder / package
    if not (target / "done").exists():
        shutil.rmtree(target, ignore_errors=True)
        target.mkdir(parents=True)
        subprocess.run(["apt-get", "download", "-qq", package], cwd=target, check=True, stderr=subprocess.DEVNULL)
        archive, = target.glob("*.deb")
        subprocess.run(["dpkg-deb", "-x", archive, target], check=True)
        archive.unlink()
        (target / "done").touch()
    return target


def kernel_package():
    """The package that holds the present stock kernel. The cloud flavour has no USB."""
    text = subprocess.run(["apt-cache", "depends", "linux-image-amd64"], check=True, text=True,
                          stdout=subprocess.PIPE).stdout
    return re.search(r"Depends: (linux-image-\S+)", text)[1]


def libraries(program):
    """The shared libraries that a program needs, as the loader finds them."""
    text = subprocess.run(["ldd", program], check=True, text=True, stdout=subprocess.PIPE).stdout
    return re.findall(r"(?:=> )?(/\S+) \(0x", text)


class Tree:
    """The folder that becomes the guest's root file system."""

    def __init__(self, folder):
        self.folder = folder
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        self.present = set()

    def put(self, source, target):
        place = self.folder / target.lstrip("/")
        place.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(source, place)
        return place

    def write(self, target, text):
        place = self.folder / target.lstrip("/")
        place.parent.mkdir(parents=True, exist_ok=True)
        place.write_text(text)

    def program(self, source, target):
        """A program, without debugging symbols, and its libraries."""
        subprocess.run(["strip", self.put(source, target)], check=True)
        for library in libraries(source):
            if library not in self.present:
                self.present.add(library)
                self.put(os.path.realpath(library), library)


def pack(folder, build):
    """Makes the kernel and the initial RAM file system in `folder` from the programs in `build`; their paths."""
    kernel = unpack(kernel_package(), folder)
    udev = unpack("udev", folder)
    tree = Tree(folder / "root")
    for name in ("proc", "sys", "dev", "run", "tmp", "root", "home/orq", "var/empty"):
        (tree.folder / name).mkdir(parents=True)
    os.chown(tree.folder / "home/orq", 1000, 1000)
    tree.put("/bin/busybox", "/bin/busybox")
    tree.put(HERE / "init", "/init")
    tree.put(HERE / "agent", "/agent")
    tree.put(HERE / "held", "/usr/bin/held")
    tree.program(udev / "bin/udevadm", "/bin/udevadm")
    (tree.folder / "lib/systemd").mkdir(parents=True)
    (tree.folder / "lib/systemd/systemd-udevd").symlink_to("/bin/udevadm")
    for rule in UDEV_RULES:
        tree.put(udev / "lib/udev/rules.d" / rule, f"/lib/udev/rules.d/{rule}")
    for rule in (SOURCE / "packaging").glob("*.rules"):
        tree.put(rule, f"/lib/udev/rules.d/{rule.name}")
    tree.write("/etc/passwd", PASSWD)
    tree.write("/etc/group", GROUPS)
    tree.write("/etc/nsswitch.conf", "passwd: files\ngroup: files\n")
    drivers, = kernel.glob("lib/modules/*/kernel/drivers")
    for module in MODULES:
        tree.put(drivers / module, f"/modules/{os.path.basename(module)}")
    tree.write("/modules/order", "\n".join(os.path.basename(module) for module in MODULES))
    tree.program(build / "faces/cli/orqcam", "/usr/bin/orqcam")
    tree.program(build / "tests/guest/guest_reader", "/usr/bin/libusb_reader")

    image = folder / "initramfs.gz"
    names = subprocess.run(["find", "."], cwd=tree.folder, check=True, stdout=subprocess.PIPE).stdout
    archive = subprocess.run(["cpio", "-o", "-H", "newc", "--quiet"], cwd=tree.folder, input=names, check=True,
                             stdout=subprocess.PIPE).stdout
    image.write_bytes(gzip.compress(archive, 1))
    vmlinuz, = kernel.glob("boot/vmlinuz-*")
    return vmlinuz, image
