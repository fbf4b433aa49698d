#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// The kinds of exchanges that make the load, and what each has to come to.
namespace Load {

/// Where the servers are.
struct Ports {
    std::vector<std::uint16_t> http;
    std::vector<std::uint16_t> https;
    std::uint16_t otherName = 0;  ///< Of a server over TLS whose certificate is for 127.0.0.1.
    std::uint16_t refused = 0;    ///< Taken, but nobody listens.
};

enum class Place { Http, Https, OtherName, Refused };
enum class Body { InMemory, ToStream, CancelledStream, Upload };

/// A kind of exchange; its outcome is all that a caller sees, the first failure record included.
struct Kind {
    const char* name;
    unsigned share;  ///< Of 100.
    Place place;
    const char* path;
    Body body;
    std::uint32_t error;  ///< 0: there is a response.
    const char* record;   ///< How the first failure record begins.
    std::uint64_t status;
    std::size_t size;  ///< Of the body, whose octet number n is n % 251; 0: not looked at.
};

/// What an exchange has come to.
struct Outcome {
    bool right = false;
    std::string what;  ///< When it is not right: what it was instead.
};

std::span<const Kind> kinds();
/// Answers the place in `kinds` of an exchange: any 100 in a row hold each kind by its share.
std::size_t kindOf(std::uint64_t number);
/// Performs an exchange. @param number  Spreads the exchanges over the servers.
Outcome perform(const Kind& kind, std::uint64_t number, const Ports& ports);
/// Puts a sink in place that keeps the first failure record of each thread's exchange.
void watchRecords();

}  // namespace Load
