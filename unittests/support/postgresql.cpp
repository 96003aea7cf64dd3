#include "support/postgresql.h"

#include <libpq-fe.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace test {

namespace {

// Its standard input ends with the process that started it.
constexpr char kScript[] = R"sh(
trap '' INT TERM HUP
bin=$(ls -d /usr/lib/postgresql/*/bin | tail -n 1)
user=
if [ "$(id -u)" = 0 ]; then
  user='setpriv --reuid=postgres --regid=postgres --init-groups --reset-env'
  chmod 711 "$folder" && chown postgres "$folder"
fi
cd "$folder" || exit 1
{
  $user "$bin/initdb" -D "$folder/data" -U test -A trust -E UTF8 --locale=C.UTF-8 \
      --locale-provider=icu --icu-locale=en --no-sync &&
    $user "$bin/pg_ctl" -D "$folder/data" -l "$folder/log" -w \
      -o "-c listen_addresses='' -k $folder -c fsync=off" start
} >"$folder/told" 2>&1 && verdict=started || verdict=$(cat "$folder/told")
exec 3<>"$folder/verdict"  # whether or not somebody reads it still
printf '%s\0' "$verdict" >&3
while read -r _; do
  $user "$bin/pg_ctl" -D "$folder/data" -l "$folder/log" -w -m immediate restart >/dev/null 2>&1
  printf 'started\0' >&3
done
$user "$bin/pg_ctl" -D "$folder/data" -m immediate stop >/dev/null 2>&1
rm -rf "$folder"
)sh";

}  // namespace

Postgresql::Postgresql() {
  // A short path: the names of sockets are limited.
  char folder[] = "/tmp/diagor-pg-XXXXXX";
  if (mkdtemp(folder) == nullptr) throw std::runtime_error("no folder for PostgreSQL");
  mFolder = folder;
  const std::string verdictFile = mFolder + "/verdict";
  if (mkfifo(verdictFile.c_str(), S_IRUSR | S_IWUSR) != 0) throw std::runtime_error("no FIFO");
  mServer =
      popen(std::string("folder=").append(mFolder).append("\n").append(kScript).c_str(), "we");
  if (mServer == nullptr) throw std::runtime_error("no shell");
  AwaitStart();
}

void Postgresql::AwaitStart() const {
  std::string verdict;
  std::getline(std::ifstream(mFolder + "/verdict"), verdict, '\0');
  if (verdict != "started")
    throw std::runtime_error(std::string("PostgreSQL does not start: ").append(verdict));
}

void Postgresql::Break() const {
  std::fputs("\n", mServer);
  std::fflush(mServer);
  AwaitStart();
}

Postgresql::~Postgresql() {
  pclose(mServer);
}

std::string Postgresql::Fresh() {
  const std::string schema = std::string("s").append(std::to_string(++mCount));
  Execute(std::string("CREATE SCHEMA ").append(schema));
  return std::string("postgresql://test@/postgres?host=")
      .append(mFolder)
      .append("&options=-csearch_path%3D")
      .append(schema);
}

void Postgresql::Execute(const std::string& sql) const {
  const std::unique_ptr<PGconn, void (*)(PGconn*)> connection(
      PQconnectdb(std::string("user=test dbname=postgres host=").append(mFolder).c_str()),
      PQfinish);
  const std::unique_ptr<PGresult, void (*)(PGresult*)> result(PQexec(connection.get(), sql.c_str()),
                                                              PQclear);
  const ExecStatusType status = PQresultStatus(result.get());
  if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
    throw std::runtime_error(PQerrorMessage(connection.get()));
}

}  // namespace test
