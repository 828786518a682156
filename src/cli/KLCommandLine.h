#pragma once

// fendrelctl's command tree: global options, the commands, and the mapping
// of every failure to one line on standard error and an exit status.
class KLCommandLine
{
public:
    int run(int argc, char** argv);
};
