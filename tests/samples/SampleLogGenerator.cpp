// Writes the product's sample log: sample_log_generator <module> <log>, run by
// scripts/make-sample to refresh samples/.

#include "tests/samples/SampleLog.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: sample_log_generator <module.dll> <log.etl>\n", stderr);
        return 2;
    }
    try {
        Testing::WriteSampleLog(argv[1], argv[2]);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
    return 0;
}
