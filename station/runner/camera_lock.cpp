#include "station/runner/camera_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <deque>
#include <set>
#include <thread>

#include "station/runner/run_refused.h"
#include "station/store/durable_file.h"

namespace station {

namespace {

constexpr char kFolder[] = "cameras";
constexpr char kSuffix[] = ".lock";

// What stands in it: a line with the process, and one with the run that it has under way.
struct Owner {
  std::string process;
  std::string run;
};

Owner OwnerIn(int file) {
  std::array<char, 128> text{};
  const ssize_t length = pread(file, text.data(), text.size(), 0);
  const std::string all(text.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
  const std::size_t end = all.find('\n');
  return {all.substr(0, end), end == std::string::npos ? "" : all.substr(end + 1)};
}

// Who only looks for killed runs has it for a moment.
bool Lock(int file) {
  constexpr std::chrono::milliseconds kPause{20};
  constexpr int kTries = 50;
  for (int i = 1; flock(file, LOCK_EX | LOCK_NB) != 0; ++i) {
    if (i == kTries) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

bool Write(int file, const std::string& text) {
  return ftruncate(file, 0) == 0 &&
         pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()) &&
         fdatasync(file) == 0;
}

// A file that is closed at the end; another process's death shows in its lock.
class Opened {
 public:
  explicit Opened(const std::filesystem::path& path)
      : mFile(open(path.c_str(), O_RDWR | O_CLOEXEC)) {}
  ~Opened() {
    if (mFile >= 0) close(mFile);
  }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
  int File() const { return mFile; }

 private:
  const int mFile;
};

// Its last sign of life: when its last attempt began.
Time LastSign(Store& store, const RunRecord& run) {
  const auto attempts = store.Attempts(run.id);
  return attempts.empty() ? run.startedAt : attempts.back().startedAt;
}

}  // namespace

std::filesystem::path CameraFile(const std::filesystem::path& folder, const CameraAddress& address,
                                 const char* suffix) {
  std::string name = address.Text();
  for (char& each : name) {
    if (each == '/') each = '_';
  }
  return folder / kFolder / (name + suffix);
}

CameraLock::CameraLock(const std::filesystem::path& folder, const CameraAddress& address)
    : mPath(CameraFile(folder, address, kSuffix)) {
  std::error_code error;
  std::filesystem::create_directories(mPath.parent_path(), error);
  mFile = open(mPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (mFile < 0) throw FileError("cannot write", mPath, errno);
  try {
    if (!Lock(mFile)) {
      throw RunRefused("camera " + address.Text() +
                       " is under test by another process of this station (" +
                       OwnerIn(mFile).process + "); wait for its end");
    }
    Name("");
  } catch (...) {
    close(mFile);
    throw;
  }
}

CameraLock::~CameraLock() {
  close(mFile);
}

void CameraLock::Name(const std::string& run) {
  const std::string text = "process " + std::to_string(getpid()) + "\n" + run;
  if (!Write(mFile, text)) throw FileError("cannot write", mPath, errno);
}

void CameraLock::NameNone() {
  // Should it fail, a run is named that the store knows as ended.
  static_cast<void>(!Write(mFile, ""));
}

void EndKilledRuns(Store& store, const std::filesystem::path& folder) {
  std::error_code none;
  std::deque<Opened> left;  // locked meanwhile: nobody takes these runs up
  std::set<std::string> held;
  for (const auto& each : std::filesystem::directory_iterator(folder / kFolder, none)) {
    if (each.path().extension() != kSuffix) continue;
    Opened& opened = left.emplace_back(each.path());
    const std::string run = opened.File() < 0 ? "" : OwnerIn(opened.File()).run;
    const bool isLeft = !run.empty() && flock(opened.File(), LOCK_EX | LOCK_NB) == 0;
    if (!isLeft) {
      left.pop_back();
      held.insert(run);
    }
  }
  for (; !left.empty(); left.pop_front()) {
    const Opened& each = left.front();
    try {
      // Under another spelling of the camera's address it may go on.
      const std::string id = OwnerIn(each.File()).run;
      const auto run = held.contains(id) ? std::nullopt : store.FindRun(id);
      if (run && run->outcome == Outcome::Running) {
        store.EndRun(id, {LastSign(store, *run), Outcome::Incomplete, "interrupted"});
      }
      Write(each.File(), "");
    } catch (const StoreError&) {  // NOLINT(bugprone-empty-catch)
      // It stays named.
    }
  }
}

}  // namespace station
