// Core services: storage and its paths, events and waits, handles, registry, text.
#include <gtest/gtest.h>
#include <windows.h>

#include <cwchar>
#include <fstream>

#include "coredll/handles.h"
#include "coredll/machine.h"
#include "coredll/text.h"
#include "support/test_camera.h"

namespace test {
namespace {

namespace fs = std::filesystem;

TEST(StorageTest, MapsTheCamerasPathsIntoItsFolder) {
  const TemporaryFolder folder;
  const fs::path& root = folder.Path();
  fs::create_directories(root / "FlashFS/Tmp");
  fs::create_directories(root / "FlashFS/tmp2");
  std::ofstream(root / "FlashFS/Tmp/BitLog.txt") << "x";
  const desk::Storage storage(root);
  struct Case {
    const char* path;
    std::string mapped;  // below the root; "-": none
  };
  const Case cases[] = {
      {"/FlashFS/Tmp/BitLog.txt", "FlashFS/Tmp/BitLog.txt"},
      {"/flashfs/tmp\\bitlog.TXT", "FlashFS/Tmp/BitLog.txt"},
      {"FLASHFS\\TMP\\new.txt", "FlashFS/Tmp/new.txt"},
      {"//FlashFS///Tmp/.//BitLog.txt", "FlashFS/Tmp/BitLog.txt"},
      {"/FlashFS/missing/new.txt", "-"},
      {"/../../FlashFS/../FlashFS/tmp2", "FlashFS/tmp2"},
      {"/..", ""},
      {"", ""},
  };
  for (const Case& each : cases) {
    const auto mapped = storage.Resolve(each.path);
    EXPECT_EQ(mapped ? fs::relative(*mapped, root).string() : "-",
              each.mapped.empty() ? "." : each.mapped)
        << each.path;
  }
}

TEST(StorageTest, NothingOutsideTheFolderIsReached) {
  const TemporaryFolder outside;
  std::ofstream(outside.Path() / "secret") << "x";
  const TemporaryFolder folder;
  fs::create_directory_symlink(outside.Path(), folder.Path() / "link");
  fs::create_symlink(outside.Path() / "secret", folder.Path() / "file");
  const desk::Storage storage(folder.Path());
  EXPECT_FALSE(storage.Resolve("/link/secret"));
  EXPECT_FALSE(storage.Resolve("/LINK"));
  EXPECT_FALSE(storage.Resolve("/file"));
  EXPECT_FALSE(storage.Resolve(std::string("/a\0b", 4)));
}

// In byte order the first of several that match; the exact one before all.
TEST(StorageTest, SpellingsThatDifferInCaseAlone) {
  const TemporaryFolder folder;
  for (const char* const name : {"abc", "Abc", "aBC"}) std::ofstream(folder.Path() / name) << "";
  const desk::Storage storage(folder.Path());
  EXPECT_EQ(storage.Resolve("/abc")->filename(), "abc");
  EXPECT_EQ(storage.Resolve("/ABC")->filename(), "Abc");
}

TEST(FilesTest, ProgramsOpenTheCamerasFilesByTheCamerasPaths) {
  BareCamera camera;
  FILE* file = fopen("/flashfs\\TMP/new.txt", "w");
  ASSERT_NE(file, nullptr);
  fputs("text", file);
  fclose(file);
  EXPECT_EQ(camera.Contents("/FlashFS/tmp/new.txt"), "text");
  EXPECT_EQ(fopen("/FlashFS/tmp", "r"), nullptr);  // a directory is no file
  EXPECT_EQ(fopen("/etc/passwd", "r"), nullptr);
}

TEST(FilesTest, CreatesDirectoriesOneAtATime) {
  BareCamera camera;
  EXPECT_EQ(CreateDirectoryW(L"/FlashFS/new\\deeper", nullptr), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(CreateDirectoryW(L"/FlashFS/new", nullptr), TRUE);
  EXPECT_TRUE(fs::is_directory(camera.File("/FlashFS/new")));
  EXPECT_EQ(CreateDirectoryW(L"/FlashFS/NEW", nullptr), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
}

TEST(WaitTest, ReportsTheFirstSignalledHandleAndTakesAutoResetSignals) {
  BareCamera camera;
  HANDLE const automatic = CreateEventW(nullptr, FALSE, TRUE, nullptr);
  HANDLE const manual = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  const HANDLE handles[] = {automatic, manual};
  EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, 0), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, INFINITE), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(CloseHandle(manual), TRUE);
  EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(CloseHandle(manual), FALSE);
  EXPECT_EQ(CloseHandle(INVALID_HANDLE_VALUE), FALSE);
  EXPECT_EQ(CloseHandle(automatic), TRUE);
}

TEST(WaitTest, TimesOutAfterTheCamerasMilliseconds) {
  BareCamera camera;
  HANDLE const event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  desk::Clock& clock = camera.Camera().Clock();
  {
    const desk::Clock::Participation mover(clock, desk::Clock::Role::MovesTime);
    EXPECT_EQ(WaitForMultipleObjects(1, &event, FALSE, 1500), WAIT_TIMEOUT);
    EXPECT_EQ(clock.Now(), std::chrono::milliseconds(1500));
    Sleep(500);
    EXPECT_EQ(clock.Now(), std::chrono::seconds(2));
  }
  CloseHandle(event);
}

TEST(RegistryTest, GivesTheValueOnlyIntoABufferThatHoldsIt) {
  BareCamera camera("R-sysimg");
  HKEY key = nullptr;
  EXPECT_NE(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Other", 0, 0, &key), ERROR_SUCCESS);
  ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Ident", 0, 0, &key), ERROR_SUCCESS);
  const auto query = [key](const wchar_t* name, wchar_t* text, DWORD characters) {
    DWORD size = characters * static_cast<DWORD>(sizeof(wchar_t));
    return RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size);
  };
  wchar_t text[4] = L"?";
  EXPECT_EQ(query(L"BSP", text, 4), ERROR_SUCCESS);
  EXPECT_EQ(wcscmp(text, L"R"), 0);
  camera.Set(".desk.registry.bsp", "KYX");
  EXPECT_EQ(query(L"BSP", text, 4), ERROR_SUCCESS);
  EXPECT_EQ(wcscmp(text, L"KYX"), 0);
  camera.Set(".desk.registry.bsp", "LONG");
  EXPECT_EQ(query(L"BSP", text, 4), static_cast<LONG>(ERROR_MORE_DATA));
  EXPECT_EQ(wcscmp(text, L"KYX"), 0);
  camera.Set(".desk.registry.bsp", "-");
  EXPECT_EQ(query(L"BSP", text, 4), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(query(L"Other", text, 4), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST(TextTest, WideTextAndUtf8) {
  EXPECT_EQ(desk::ToUtf8(L"aä\u20AC\U0001F600"), "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(desk::ToWide("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"), L"aä\u20AC\U0001F600");
  // Cut, overlong, surrogate, stray, out of range.
  for (const char* const broken :
       {"\xC3", "\xC0\x80", "\xED\xA0\x80", "\x80", "\xF5\x80\x80\x80"}) {
    EXPECT_EQ(desk::ToWide(broken).find_first_not_of(L'\uFFFD'), std::wstring::npos) << broken;
  }
  EXPECT_EQ(desk::ToWide("\xC3(ok"), L"\uFFFD(ok");
}

}  // namespace
}  // namespace test
