// The faults: one round of each.
#ifndef OWNERLINK_FAULTS_ROUNDS_H
#define OWNERLINK_FAULTS_ROUNDS_H

#include <vector>

#include "faults/world.h"

struct Fault {
    const char* name;
    void (*round)(World& world);
    World::Options options;
};

const std::vector<Fault>& AllFaults();

void OwnerKilledBeforeAccept(World& world);
void OwnerKilledInCallback(World& world);
void OwnerKilledBeforeAnswer(World& world);
void OwnerKilledAfterAnswer(World& world);
void ClientKilledBeforeSend(World& world);
void ClientKilledInCallback(World& world);
void ClientKilledBeforeAnswerIsRead(World& world);
void OwnerStopped(World& world);
void ClientStopped(World& world);

void OwnerWithoutDescriptors(World& world);
void ClientWithoutDescriptors(World& world);
void OwnerWithoutMemory(World& world);
void ClientWithoutMemory(World& world);
void QueryWithoutMemory(World& world);
void OwnerWithoutAllocations(World& world);
void ClientWithoutAllocations(World& world);
void OwnerWithoutThreads(World& world);
void ClientWithoutThreads(World& world);

void DirectoryFull(World& world);
void LogFull(World& world);
void DirectoryDeleted(World& world);
void ClockSetBack(World& world);

#endif
