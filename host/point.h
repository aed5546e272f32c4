// Inside the host library: named places at which a build for tests can end the process, so that a takeover is tried at
// each of them. In any other build they are nothing.
#ifndef HOST_POINT_H
#define HOST_POINT_H

// A COMMIT stands right before and right behind the handing over of changes to the standbys.
enum class point_t { ANY, COMMIT };

#ifdef VELMAR_KILL_POINTS
// The VELMAR_KILL_AT-th call in this process does not return, nor the VELMAR_KILL_AT_COMMIT-th for a COMMIT: SIGKILL.
// Any context, a signal handler included.
void hostPoint(point_t point = point_t::ANY);
#else
inline void hostPoint(point_t = point_t::ANY) {}
#endif

#endif
