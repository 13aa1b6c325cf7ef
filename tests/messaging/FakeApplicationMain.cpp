// Stands in for an application that receives message files. Started with "--stay" it
// waits to be killed (a running instance, whose /proc/<pid>/exe lies in its bundle);
// started with files it appends each path as a line to "<its executable>.received".

#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--stay") == 0) {
        for (;;)
            ::pause();
    }
    char self[PATH_MAX] = {};
    if (::readlink("/proc/self/exe", self, sizeof self - 1) <= 0)
        return 1;
    std::FILE *record = std::fopen((std::string(self) + ".received").c_str(), "a");
    if (!record)
        return 1;
    for (int i = 1; i < argc; ++i)
        std::fprintf(record, "%s\n", argv[i]);
    return std::fclose(record) == 0 ? 0 : 1;
}
