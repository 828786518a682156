#include <cstdio>

int main()
{
    std::fputs("usage: fendrelctl [--root DIR] [--json] [--yes] COMMAND ...\n", stderr);
    return 2;
}
