#include <cstdio>

int main() {
    std::puts("xtsutil");
    return 0;
}
