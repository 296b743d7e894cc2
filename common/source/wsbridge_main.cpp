// Entry point of the wsbridge daemon; everything else lives in the
// wsservices library so the tests can link it without main().
#include "wsbridge_host.h"

int main(int argc, char** argv) {
    return wsbridge_run(argc, argv);
}
