"""The jobs of the comparison, and the clients that do them."""

import dataclasses

MIB = 1 << 20
GIB = 1 << 30
PAGE = 1024


@dataclasses.dataclass(frozen=True)
class Job:
    """One thing to do. A job with a body of megabytes is told per GiB, the others per exchange."""
    name: str
    title: str
    verb: str  # what the client is told
    server: str  # memory, nginx, tls
    path: str  # {size} stands for the size of the body
    count: int  # exchanges of one run
    size: int = PAGE
    threads: int = 1
    traced: int = 20  # exchanges of the short run that counts system calls; one of twice as many
    executed: int = 10  # the same for instructions
    note: str = ""

    @property
    def large(self):
        return self.size >= MIB

    @property
    def threaded(self):
        return self.name.startswith("threads-")

    @property
    def https(self):
        return self.server == "tls"

    def quick(self):
        """The same, to see whether it works."""
        if self.large:
            return dataclasses.replace(self, size=16 * MIB)
        return dataclasses.replace(self, count=max(self.count // 100, 2 * self.threads))


JOBS = [
    Job("small", "A page of 1 KiB", "stream", "memory", "/memory/{size}", 6000),
    Job("memory", "1 GiB streamed from the memory source and dropped", "stream", "memory",
        "/memory/{size}", 1, GIB),
    Job("nginx", "1 GiB streamed from nginx and dropped", "stream", "nginx", "/{size}", 1, GIB),
    Job("keep", "256 MiB kept in memory", "keep", "memory", "/memory/{size}", 1, 256 * MIB),
    Job("upload", "1 GiB uploaded from memory", "upload", "memory", "/upload/{size}", 1, GIB,
        note="The body is a megabyte that is mapped 1024 times; peak memory is told without it."),
    Job("tls-small", "A page of 1 KiB over TLS", "stream", "tls", "/{size}", 20, traced=4,
        executed=1, note="The whole bundle is read into a new context for every exchange, except "
                         "where a client is said to keep its context: that one is not ranked."),
    Job("tls", "1 GiB over TLS", "stream", "tls", "/{size}", 1, GIB),
    Job("head", "A head of 64 KiB with 500 fields", "head", "memory", "/head/500", 2000),
    Job("chain", "A chain of 10 redirects", "chain", "memory", "/chain/10", 300, traced=5,
        executed=3),
    *(Job(f"threads-{n}", f"A page of 1 KiB, threads: {n}", "stream", "memory", "/memory/{size}",
          4000, threads=n) for n in (1, 2, 4, 8, 16)),
    Job("start", "From the start of a process to the first byte of a page", "", "memory",
        "/memory/{size}", 100, note="Whole programs; system calls and instructions are those of "
                                    "one run from its start to its end."),
]


@dataclasses.dataclass(frozen=True)
class Client:
    name: str
    title: str
    role: str = "peer"  # floor, ours, peer; unranked: shown, but no peer to beat
    only: tuple = ()  # the jobs it does; none named: all but those of `without`
    without: dict = dataclasses.field(default_factory=dict, hash=False)  # job: the reason

    def does(self, job):
        if job.name == "start":
            return self.name in STARTERS
        return (job.name in self.only if self.only else job.name not in self.without)


CLIENTS = [
    Client("floor", "floor", "floor"),
    Client("limit", "limit: the kernel drops the body unread", "unranked", ("memory", "nginx")),
    Client("nethttp", "nethttp", "ours"),
    Client("curl_new", "libcurl, a new handle each time"),
    Client("curl_one", "libcurl, one handle"),
    Client("curl_tuned", "libcurl, one handle, large buffers"),
    Client("curl_kept", "libcurl, one handle, kept context", "unranked", ("tls-small",)),
    Client("beast", "Boost.Beast, as documented"),
    Client("beast_large", "Boost.Beast, large buffer"),
    Client("httplib", "cpp-httplib"),
    Client("poco", "POCO"),
    Client("neon", "neon", without={"head": "takes 100 header fields at most"}),
    Client("curl", "curl", only=("start",)),
]
# The programs of the job "start"; the clients themselves are no command lines.
STARTERS = ("floor", "nethttp", "curl")
