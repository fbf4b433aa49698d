#pragma once

/// How many objects of OpenSSL this process has, counted from the first question on.
struct LiveObjects {
    long contexts = 0;
    long connections = 0;
    long bios = 0;

    friend bool operator==(const LiveObjects&, const LiveObjects&) = default;
};

LiveObjects liveObjects();
