// Stands in for an application that receives message files. Started with "--stay" it
// waits to be killed (a running instance, whose /proc/<pid>/exe lies in its bundle);
// started with files it appends each path as a line to "<its executable>.received".

#include <climits>
#include <fstream>
#include <string>
#include <unistd.h>

int main(int argc, char **argv)
{
    if (argc == 2 && std::string(argv[1]) == "--stay")
        for (;;)
            ::pause();
    char self[PATH_MAX] = {};
    if (::readlink("/proc/self/exe", self, sizeof self - 1) <= 0)
        return 1;
    std::ofstream record(std::string(self) + ".received", std::ios::app);
    for (int i = 1; i < argc; ++i)
        record << argv[i] << '\n';
    return record.flush() ? 0 : 1;
}
