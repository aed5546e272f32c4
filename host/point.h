// Inside the host library: named places at which a build for tests can end the process, so that a takeover is tried at
// each of them. In any other build they are nothing.
#ifndef HOST_POINT_H
#define HOST_POINT_H

#ifdef VELMAR_KILL_POINTS
// The VELMAR_KILL_AT-th call in this process does not return: SIGKILL. Any context, a signal handler included.
void hostPoint();
#else
inline void hostPoint() {}
#endif

#endif
