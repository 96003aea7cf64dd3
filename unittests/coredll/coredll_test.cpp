// Core services: storage and its paths, events and waits, handles, registry, text.
#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>

#include "coredll/handles.h"
#include "coredll/machine.h"
#include "coredll/text.h"
#include "support/test_camera.h"

namespace test {
namespace {

namespace fs = std::filesystem;

// Nothing outside the folder is reached. Of several spellings the exact one comes before all, then
// the first in byte order.
TEST(StorageTest, MapsTheCamerasPathsIntoItsFolder) {
  const TemporaryFolder outside;
  const TemporaryFolder folder;
  const fs::path& root = folder.Path();
  fs::create_directories(root / "FlashFS/Tmp");
  fs::create_directories(root / "FlashFS/tmp2");
  for (const fs::path& file : {root / "FlashFS/Tmp/BitLog.txt", outside.Path() / "secret",
                               root / "abc", root / "Abc", root / "aBC"}) {
    std::ofstream(file) << "x";
  }
  fs::create_directory_symlink(outside.Path(), root / "link");
  fs::create_symlink(outside.Path() / "secret", root / "file");
  const desk::Storage storage(root);
  const std::pair<std::string, const char*> cases[] = {
      {"/FlashFS/Tmp/BitLog.txt", "FlashFS/Tmp/BitLog.txt"},
      {"/flashfs/tmp\\bitlog.TXT", "FlashFS/Tmp/BitLog.txt"},
      {"FLASHFS\\TMP\\new.txt", "FlashFS/Tmp/new.txt"},
      {"//FlashFS///Tmp/.//BitLog.txt", "FlashFS/Tmp/BitLog.txt"},
      {"/FlashFS/missing/new.txt", "none"},
      {"/../../FlashFS/../FlashFS/tmp2", "FlashFS/tmp2"},
      {"/..", "."},
      {"", "."},
      {"/abc", "abc"},
      {"/ABC", "Abc"},
      {"/link/secret", "none"},
      {"/LINK", "none"},
      {"/file", "none"},
      {{"/a\0b", 4}, "none"},
  };
  for (const auto& [path, expected] : cases) {
    const auto mapped = storage.Resolve(path);
    EXPECT_EQ(mapped ? fs::relative(*mapped, root).string() : "none", expected) << path;
  }
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

TEST(RegistryTest, GivesTheValueOnlyIntoABufferThatHoldsIt) {
  BareCamera camera;
  HKEY key = nullptr;
  EXPECT_NE(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Other", 0, 0, &key), ERROR_SUCCESS);
  ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Ident", 0, 0, &key), ERROR_SUCCESS);
  wchar_t text[4] = L"?";
  struct Case {
    const char* stored;
    const wchar_t* name;
    LONG status;
    const wchar_t* text;  // in the buffer afterwards
  };
  const Case cases[] = {{"R", L"BSP", ERROR_SUCCESS, L"R"},
                        {"KYX", L"BSP", ERROR_SUCCESS, L"KYX"},
                        {"LONG", L"BSP", ERROR_MORE_DATA, L"KYX"},
                        {"-", L"BSP", ERROR_FILE_NOT_FOUND, L"KYX"},
                        {"R", L"Other", ERROR_FILE_NOT_FOUND, L"KYX"}};
  for (const Case& each : cases) {
    camera.Set(".desk.registry.bsp", each.stored);
    DWORD size = sizeof text;
    EXPECT_EQ(
        RegQueryValueExW(key, each.name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size),
        each.status)
        << each.stored;
    EXPECT_STREQ(text, each.text);
  }
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
