// A short tour of zelk: text and paths.
#include <zelk/zelk.h>

#include <cstdio>

using namespace vorlan::zelk;

int main() {
    std::printf("zelk example\n");
    return 0;
}
