// A body run in a child, so that a death, a hang or changed limits do not reach the other tests.
#ifndef KT_TESTS_SUPPORT_FORKED_CHILD_H
#define KT_TESTS_SUPPORT_FORKED_CHILD_H

#include <sys/wait.h>
#include <unistd.h>

namespace kt::test {

// Returns what the body returned (0 to 255), or minus the signal that ended the child: -SIGALRM for one that
// hangs.
template <typename Body>
int inChild(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        _exit(body());
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace kt::test

#endif
