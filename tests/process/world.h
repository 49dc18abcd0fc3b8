// What a test process stands in: a directory of its own for sockets and logs, an /etc/tnv of its
// own, and a name that no other test's resources have.
#ifndef OWNERLINK_TESTS_PROCESS_WORLD_H
#define OWNERLINK_TESTS_PROCESS_WORLD_H

#include <ownerlink/records.h>

#include <sys/types.h>

#include <string>

inline constexpr const char* kConfigFile = "/etc/tnv/ownerlink_vfs_cfg.yaml";

// Runs the tests that the arguments choose, in a world that is gone afterwards. Fails with the
// reason where the system refuses a mount namespace.
int RunTestsInWorld(int argc, char** argv);

// Inside the world.
std::string WorldDirectory();
std::string LogOf(pid_t process);
std::string ResourceOf(GroupOwner group);
std::string ConfigEntry(const std::string& name, const std::string& body);
std::string UsualConfig();  // the three owners
void WriteConfig(const std::string& text);
void RemoveConfig();

#endif
