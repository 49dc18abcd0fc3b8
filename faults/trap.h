// Ends the process at a chosen system call: the one way to die between two steps of the library
// that no step of it leads through.
#ifndef OWNERLINK_FAULTS_TRAP_H
#define OWNERLINK_FAULTS_TRAP_H

// The calling thread's next system call of the kind ends the process, as a kill would.
void DieAtNextSend();
void DieAtNextReceive();  // or wait for events

// For the process and all its threads to come: a wait until a time of the wall clock ends it.
void DieAtWaitOnWallClock();

#endif
