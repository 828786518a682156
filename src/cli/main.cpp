#include "KLCommandLine.h"

int main(int argc, char** argv)
{
    return KLCommandLine().run(argc, argv);
}
