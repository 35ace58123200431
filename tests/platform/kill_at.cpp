// kill_at NUMBER COMMAND [ARGUMENT...]: runs a program and kills it at its system call of that
// number. Exit status 0 when it was killed there, 1 when it came to its end before.
#include "kill_point.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: kill_at NUMBER COMMAND [ARGUMENT...]\n");
        return 2;
    }
    return run_to_kill_point(atoi(argv[1]), [argv] { execvp(argv[2], argv + 2); }) ? 0 : 1;
}
