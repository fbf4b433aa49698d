/* The floor of a command line: writes the body of a URL to standard output, and needs no library.
 *
 *   first_byte PORT PATH */
#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

int main(int argc, char** argv) {
    static char buffer[65536];
    struct sockaddr_in address = {0};
    size_t fill = 0;
    if (argc != 3) {
        return 2;
    }
    const int size =
        snprintf(buffer, sizeof buffer, "GET %s HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n", argv[2]);
    const int link = socket(AF_INET, SOCK_STREAM, 0);
    address.sin_family = AF_INET;
    address.sin_port = htons((uint16_t)atoi(argv[1]));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(link, (const struct sockaddr*)&address, sizeof address) != 0 ||
        send(link, buffer, (size_t)size, MSG_NOSIGNAL) != size) {
        return 1;
    }
    for (ssize_t count; fill < sizeof buffer - 1; fill += (size_t)count) {
        if ((count = recv(link, buffer + fill, sizeof buffer - 1 - fill, 0)) <= 0) {
            break;
        }
    }
    buffer[fill] = '\0';
    const char* const end = strstr(buffer, "\r\n\r\n");
    if (end == NULL) {
        return 1;
    }
    const size_t head = (size_t)(end + 4 - buffer);
    return write(STDOUT_FILENO, buffer + head, fill - head) == (ssize_t)(fill - head) ? 0 : 1;
}
