// Serves one SOAP request read from standard input through the gateway's
// dispatcher, on a fresh temporary data store, and writes the XML response
// to standard output. Exit status: 0 answered, 1 fault, 2 refused (401).
// Requests are served as an anonymous viewer, so Reset never reboots.
#include <iostream>
#include <iterator>

#include "wstest_dispatch.h"
#include "wstest_gateway.h"

int main() {
    std::string request((std::istreambuf_iterator<char>(std::cin)),
                        std::istreambuf_iterator<char>());
    wstest::TestGateway gateway;
    wstest::Reply reply = wstest::serve(request, &gateway.global());
    std::cout << reply.body;
    if (reply.error == 0) return 0;
    return reply.error == 401 ? 2 : 1;
}
