// Entry point of cdsctl; the commands live in cdsctl.cpp.
#include "cdsctl.h"

int main(int argc, char** argv) {
    return cdsctl_run(argc, argv);
}
