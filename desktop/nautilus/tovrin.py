"""Emblems in GNOME's Files for the files of a Tovrin mount: remote, opening, edited, or with an issue.

Loaded by nautilus-python. A file that is here has no emblem: it is like any other.
"""

import os
import stat

from gi.repository import GLib, GObject, Nautilus

EMBLEMS = {
    "remote": "emblem-web",
    "opening": "emblem-synchronizing",
    "edited": "emblem-documents",
    "issue": "emblem-important",
}
# Nothing tells Files when a state changes, so those that it has asked about are looked at again.
SECONDS_BETWEEN_LOOKS = 2


def tovrin_devices():
    """The st_dev of everything on Tovrin mounts, so that no other file system is asked for attributes."""
    devices = set()
    with open("/proc/self/mountinfo", encoding="utf-8", errors="surrogateescape") as mounts:
        for line in mounts:
            fields, _, rest = line.partition(" - ")
            if rest.startswith("fuse.tovrin "):
                major, minor = fields.split()[2].split(":")
                devices.add(os.makedev(int(major), int(minor)))
    return devices


def state(path):
    """The state of a mounted file, which the mount answers from memory; None for every other file."""
    try:
        attributes = os.lstat(path)
        if not stat.S_ISREG(attributes.st_mode) or attributes.st_dev not in tovrin_devices():
            return None
        return os.getxattr(path, "user.tovrin.state").decode()
    except OSError:
        return None


class TovrinEmblems(GObject.GObject, Nautilus.InfoProvider):
    """Asked by Files about every file in view."""

    def __init__(self):
        super().__init__()
        self.shown = {}  # path: (the file while Files has it, the state that it was told)

    def update_file_info(self, file):
        path = file.get_location().get_path()
        now = state(path) if path is not None else None
        if now in EMBLEMS:
            file.add_emblem(EMBLEMS[now])
        if now is not None:
            if not self.shown:
                GLib.timeout_add_seconds(SECONDS_BETWEEN_LOOKS, self.look_again)
            self.shown[path] = (file.weak_ref(), now)
        return Nautilus.OperationResult.COMPLETE

    def look_again(self):
        for path, (reference, told) in list(self.shown.items()):
            file = reference()
            if file is None or file.is_gone():
                del self.shown[path]
            elif state(path) != told:
                del self.shown[path]
                file.invalidate_extension_info()
        return bool(self.shown)
