// Calls of the system that fail when a test says so, in the place of the real ones.
#ifndef OWNERLINK_TESTS_QUEUE_FAILING_CALLS_H
#define OWNERLINK_TESTS_QUEUE_FAILING_CALLS_H

// From now on in all threads: with this errno number; 0, not any more.
void FailEventfd(int error);
void FailEpollControl(int error);

#endif
