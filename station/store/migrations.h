// The schema, as numbered steps. What has been released is never changed: a new step is added.
#pragma once

#include "station/store/connection.h"

namespace station {

// Steps that the database has not made; StoreError where it has made more than are known here.
int CountPendingMigrations(Connection& connection);
// Whether it has made any.
bool HasSchema(Connection& connection);
// Makes them, each in a transaction of its own with the record of it. Another process may do so at
// the same time.
void RunMigrations(Connection& connection);

}  // namespace station
