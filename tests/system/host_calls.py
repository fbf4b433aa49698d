#!/usr/bin/env python3
"""Holds the fault walks complete: each function of the host or of OpenSSL that the libraries call is
one that the walks let fail, or stands below with the reason why it cannot.

    host_calls.py WALK_PROGRAM LIBRARY...
"""

import re
import sys

import support

# Neither asks the host for anything nor allocates.
PLAIN = """memchr memcmp memcpy memmove memset strlen inet_pton gmtime_r localtime_r strerrordesc_np
    gai_strerror sigaddset sigemptyset sigismember freeaddrinfo"""
# Fails for a wrong argument alone, or never.
SAFE = """clock_gettime time getrlimit sysinfo uname sched_yield pthread_sigmask sigpending
    pthread_mutex_lock pthread_mutex_unlock secure_getenv getenv"""
# The end of the program, its start, or a thread's.
PROCESS = "abort fprintf fwrite stderr syscall"
# The walk makes the heap itself.
HEAP = "malloc free"
# Fails for want of memory alone: the walk that takes memory away lets it.
FORK = "__register_atfork"
# Of OpenSSL: gives back, sets or reads a field, handles the thread's queue of errors.
FIELDS = """BIO_clear_flags BIO_free BIO_get_ex_data BIO_s_mem BIO_set_init BIO_meth_set_callback_ctrl
    BIO_meth_set_create BIO_meth_set_ctrl BIO_meth_set_destroy BIO_meth_set_gets BIO_meth_set_puts
    BIO_meth_set_read BIO_meth_set_write BIO_ctrl_pending CRYPTO_free ERR_clear_error
    ERR_error_string_n ERR_get_error ERR_pop_to_mark ERR_print_errors_cb ERR_set_mark
    GENERAL_NAMES_free OPENSSL_sk_num OPENSSL_sk_value SSL_CTX_free SSL_CTX_set_options
    SSL_CTX_set_verify SSL_free SSL_get_error SSL_set_bio SSL_set_connect_state SSL_set_hostflags
    TLS_client_method X509_STORE_CTX_get_current_cert X509_STORE_CTX_get_error
    X509_STORE_CTX_get_error_depth X509_get0_notAfter X509_get0_notBefore X509_get_issuer_name
    X509_get_subject_name X509_verify_cert_error_string"""
# Of OpenSSL: answers the same for a failure and for a name that does not match.
NAMES = "X509_check_host X509_check_ip_asc"
EXEMPT = set(" ".join([PLAIN, SAFE, PROCESS, HEAP, FORK, FIELDS, NAMES]).split())

# The C++ runtime's and the linker's own, and C++ functions, which lie in the libraries.
FOREIGN = re.compile(r"_Z|_ITM_|__cxa_|__gmon_start__|__dynamic_cast|__tls_get_addr|__errno_location|"
                     r"__gxx_|_Unwind|__stack_chk_fail|__asan_|__ubsan_|__tsan_|__sanitizer_")


def symbols(text, kinds):
    """The names that a listing of nm has, of some kinds; a version behind the name is left out."""
    return {match[2].split("@")[0] for match in re.finditer(r"^\S*\s*([A-Za-z]) (\S+)$", text, re.M)
            if match[1] in kinds}


def forgotten(called, defined):
    return sorted(name for name in called - defined - EXEMPT if not FOREIGN.match(name))


def self_check():
    listing = "                 U send@GLIBC_2.2.5\n0001 T recv\n                 U _ZN4Heap4freeEv\n"
    if symbols(listing, "U") != {"send", "_ZN4Heap4freeEv"} or symbols(listing, "T") != {"recv"}:
        sys.exit("the check itself reads listings wrong")
    if forgotten({"send", "recv", "strlen", "_Zx"}, {"recv"}) != ["send"]:
        sys.exit("the check itself is broken")


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    self_check()
    defined = symbols(support.must(["nm", "--defined-only", sys.argv[1]]).stdout, "TWi")
    called = set()
    for library in sys.argv[2:]:
        called |= symbols(support.must(["nm", "-D", "-u", library]).stdout, "Uw")
    names = forgotten(called, defined)
    if names:
        sys.exit("the fault walks do not know: " + ", ".join(names))
    print(f"{len(called & defined)} functions of the host and of OpenSSL can fail")


if __name__ == "__main__":
    main()
