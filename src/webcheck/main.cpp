#include <cstdio>

int main()
{
    std::fputs("usage: WebCheck -operation webcheck|ctl ...\n", stderr);
    return 2;
}
