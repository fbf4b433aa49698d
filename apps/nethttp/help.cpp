// The texts and the layout of `nethttp --help`.

#include "help.hpp"

namespace cli {

const char* const helpExamples =
    "Examples:\n"
    "  nethttp http://127.0.0.1:8080/                        the body to standard output\n"
    "  nethttp -o page.html --progress http://example.net/   to a file, with a progress bar\n"
    "  nethttp -X POST -d 'a=1' -H 'Accept: text/plain' URL  a body and a header field\n"
    "  nethttp -X PUT -T photo.jpg -f URL                    upload a file; status 22 if refused\n"
    "  nethttp --report r.json -o /dev/null URL              what happened, for a script\n"
    "  nethttp -v URL                                        watch the exchange\n"
    "\n"
    "Exit status: 0 a response was received; 1 an exchange failed, or a file could not be\n"
    "read or written; 2 the options are wrong; 22 see --fail.";

}  // namespace cli
