// For the objects that log in their destructors.
#ifndef OWNERLINK_FOUNDATION_ENUM_TABLES_H
#define OWNERLINK_FOUNDATION_ENUM_TABLES_H

namespace ProcMgr {

// Builds the tables of the enumeration texts that are built on first use, so that they outlive an
// object whose constructor calls this.
void TouchEnumTables();

}  // namespace ProcMgr

#endif
