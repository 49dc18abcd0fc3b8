/// \file
/// Marks what the library exports; everything else of it is hidden.
#ifndef OWNERLINK_EXPORT_H
#define OWNERLINK_EXPORT_H

/// Stands before a declaration that the library exports.
#define OWNERLINK_EXPORT __attribute__((visibility("default")))

#endif
