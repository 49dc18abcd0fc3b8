// Marks what the library exports; everything else of it is hidden.
#ifndef OWNERLINK_EXPORT_H
#define OWNERLINK_EXPORT_H

#define OWNERLINK_EXPORT __attribute__((visibility("default")))

#endif
