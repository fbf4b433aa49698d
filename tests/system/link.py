"""Two hosts and the link between them, for tests of networks that misbehave.

The process itself is the near host, in a network namespace of its own without any other way out;
the far host is a second namespace, entered by `Link.far`. Each has a tun device, and a thread
carries the packets between the two: it loses, delays, repeats and damages real ones. (The kernel's
netem does likewise, but is a module that many machines lack; and this one can stop at a given
packet.)
"""

import contextlib
import ctypes
import dataclasses
import fcntl
import heapq
import itertools
import os
import pathlib
import random
import select
import shutil
import struct
import sys
import threading
import time

from support import must, run, skip_if

TUN = "/dev/net/tun"
INSIDE = "NETHTTP_OWN_NETWORK"  # set in a process that `enter_own_network` has started
CLONE_NEWNET = 0x40000000
TUNSETIFF, IFF_TUN, IFF_NO_PI = 0x400454CA, 0x0001, 0x1000

libc = ctypes.CDLL(None, use_errno=True)


def own_network_command():
    """Answers how to start a program in namespaces of its own, or nothing and the reason."""
    command = ["unshare", "--net", "--mount"]
    if os.geteuid() != 0:
        command += ["--user", "--map-root-user"]
    if shutil.which("ip") is None:
        return [], "there is no program ip; scripts/bootstrap test installs it"
    tried = run([*command, "ip", "link", "set", "lo", "up"])
    return ([], tried.stderr.strip()) if tried.returncode != 0 else (command, "")


def enter_own_network():
    """Starts this test again in namespaces of its own, or skips it where that is not allowed."""
    if INSIDE not in os.environ:
        os.environ["PATH"] += ":/usr/sbin:/sbin"
        command, reason = own_network_command()
        skip_if([f"no network of its own: {reason}"] if reason else [])
        command += [sys.executable, "-B", *sys.argv]
        os.execvpe(command[0], command, {**os.environ, INSIDE: "1"})
    must(["ip", "link", "set", "lo", "up"])
    # What another name service of the machine knows, it would fetch by its own ways.
    must(["mount", "-t", "tmpfs", "tmpfs", "/run"])
    try:
        Device("try").close()
    except OSError as error:
        skip_if([f"no tun device: {error}"])


def system_call(result):
    if result != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


class Device:
    """A tun device in the thread's network namespace: what is read is what was sent there."""

    def __init__(self, name):
        self.number = os.open(TUN, os.O_RDWR | os.O_NONBLOCK | os.O_CLOEXEC)
        try:
            fcntl.ioctl(self.number, TUNSETIFF,
                        struct.pack("16sH22x", name.encode(), IFF_TUN | IFF_NO_PI))
        except OSError:
            self.close()
            raise

    def close(self):
        os.close(self.number)

    def receive(self):
        with contextlib.suppress(BlockingIOError):
            return os.read(self.number, 65536)
        return None

    def send(self, packet):
        with contextlib.suppress(OSError):  # the device is down: lost, as by a link that is
            os.write(self.number, packet)


@dataclasses.dataclass(frozen=True)
class Weather:
    """What happens to packets on their way. Shares are of 1, times in seconds."""
    loss: float = 0
    repeated: float = 0
    damaged: float = 0
    delay: float = 0
    jitter: float = 0           # up to so much more, for each packet by itself: they overtake
    largest: int = 65535        # what is longer vanishes, and nobody is told
    gone_after: int | None = None       # packets that reach the near host before the link is gone
    gone_after_sent: int | None = None  # the same for the far host


class Link:
    """The link and the far host, as long as the block lasts."""
    numbers = itertools.count(1)

    def __init__(self, weather):
        self.weather = weather
        self.chance = random.Random(1)
        self.counts = dict.fromkeys(
            ("carried", "lost", "repeated", "damaged", "overtook", "too large", "gone"), 0)
        self.arrived = [0, 0]  # at the near host, at the far one
        self.latest = [0, 0]   # the order in which packets came that have gone on
        self.queue = []
        self.order = itertools.count(1)

    def __enter__(self):
        net = f"10.9.{next(self.numbers)}."
        self.near_address, self.far_address = net + "1", net + "2"
        self.home = os.open("/proc/self/ns/net", os.O_RDONLY | os.O_CLOEXEC)
        self.devices = [self.make_device("near", self.near_address)]
        system_call(libc.unshare(CLONE_NEWNET))
        self.devices.append(self.make_device("far", self.far_address))
        self.away = os.open("/proc/self/ns/net", os.O_RDONLY | os.O_CLOEXEC)
        system_call(libc.setns(self.home, CLONE_NEWNET))
        self.stop_reader, self.stop = os.pipe()
        self.thread = threading.Thread(target=self.carry)
        self.thread.start()
        return self

    def __exit__(self, *_):
        os.close(self.stop)
        self.thread.join()
        for device in self.devices:
            device.close()
        for number in (self.stop_reader, self.home, self.away):
            os.close(number)

    @staticmethod
    def make_device(name, address):
        device = Device(name)
        must(["ip", "address", "add", address + "/24", "dev", name])
        must(["ip", "link", "set", name, "up"])
        return device

    @contextlib.contextmanager
    def far(self):
        """Puts this thread on the far host: sockets that it makes meanwhile stay there."""
        system_call(libc.setns(self.away, CLONE_NEWNET))
        try:
            yield
        finally:
            system_call(libc.setns(self.home, CLONE_NEWNET))

    def carry(self):
        poll = select.poll()
        for number in (self.stop_reader, *(device.number for device in self.devices)):
            poll.register(number, select.POLLIN | select.POLLHUP)
        while True:
            wait = max(self.queue[0][0] - time.monotonic(), 0) * 1000 if self.queue else None
            ready = {number for number, _ in poll.poll(wait)}
            if self.stop_reader in ready:
                return
            for side, device in enumerate(self.devices):
                if device.number in ready and (packet := device.receive()):
                    self.take(packet, 1 - side)
            while self.queue and self.queue[0][0] <= time.monotonic():
                self.deliver(*heapq.heappop(self.queue)[1:])

    def happens(self, share, what):
        if share and self.chance.random() < share:
            self.counts[what] += 1
            return True
        return False

    def take(self, packet, target):
        weather = self.weather
        if packet[0] >> 4 != 4:  # what IPv6 says by itself would count as packets of an exchange
            return
        if len(packet) > weather.largest:
            self.counts["too large"] += 1
        elif not self.happens(weather.loss, "lost"):
            if self.happens(weather.damaged, "damaged"):
                place = self.chance.randrange(len(packet))
                packet = packet[:place] + bytes([packet[place] ^ 0x10]) + packet[place + 1:]
            for _ in range(1 + self.happens(weather.repeated, "repeated")):
                due = time.monotonic() + weather.delay + self.chance.uniform(0, weather.jitter)
                heapq.heappush(self.queue, (due, next(self.order), target, packet))

    def deliver(self, order, target, packet):
        ends = (self.weather.gone_after, self.weather.gone_after_sent)
        if any(end is not None and count >= end for end, count in zip(ends, self.arrived)):
            self.counts["gone"] += 1
            return
        self.counts["overtook"] += order < self.latest[target]
        self.latest[target] = max(order, self.latest[target])
        self.arrived[target] += 1
        self.counts["carried"] += 1
        self.devices[target].send(packet)


def set_host(path, value):
    """Sets a parameter of the near host's network."""
    pathlib.Path("/proc/sys/net", path).write_text(f"{value}\n")


def replace_file(path, replacement):
    """Puts a file in the place of one of the system's, for this process and its children."""
    must(["mount", "--bind", replacement, path])
