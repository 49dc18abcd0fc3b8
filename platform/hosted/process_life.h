// What the layer does when its process forks.
#ifndef OWNERLINK_PLATFORM_HOSTED_PROCESS_LIFE_H
#define OWNERLINK_PLATFORM_HOSTED_PROCESS_LIFE_H

namespace hosted {

// Has the layer's locks held across each fork and its descriptors closed in each child. To be
// called before the layer's first descriptor is made; calls after the first do nothing.
void InstallForkHandlers();

}  // namespace hosted

#endif
