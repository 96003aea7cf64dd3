#include "coredll/dialog_template.h"

#include <windows.h>

#include <cwctype>

#include "coredll/byte_reader.h"

namespace desk {

namespace {

constexpr std::uint16_t kNumberFollows = 0xFFFF;
constexpr std::uint16_t kButtonClass = 0x80;
constexpr std::uint16_t kStaticClass = 0x82;
constexpr std::uint16_t kMostItems = 256;

bool Equals(const std::wstring& text, const wchar_t* name) {
  return _wcsicmp(text.c_str(), name) == 0;
}

// A text, or a number in its place, which counts as an empty text.
std::wstring ReadTextOrNumber(ByteReader& reader, std::uint16_t& number) {
  number = 0;
  std::wstring text;
  std::uint16_t unit = reader.Word();
  if (unit == kNumberFollows) {
    number = reader.Word();
    return text;
  }
  for (; unit != 0 && reader.Ok(); unit = reader.Word()) text += static_cast<wchar_t>(unit);
  return text;
}

DialogItem::Kind ReadClass(ByteReader& reader) {
  std::uint16_t number = 0;
  const std::wstring name = ReadTextOrNumber(reader, number);
  if (number == kButtonClass || Equals(name, L"Button")) return DialogItem::Kind::Button;
  if (number == kStaticClass || Equals(name, L"Static")) return DialogItem::Kind::Static;
  return DialogItem::Kind::Other;
}

DialogItem ReadItem(ByteReader& reader) {
  DialogItem item;
  reader.Align(4);
  item.style = reader.Dword();
  reader.Dword();  // extended style
  item.x = reader.Short();
  item.y = reader.Short();
  item.width = reader.Short();
  item.height = reader.Short();
  item.id = reader.Word();
  item.kind = ReadClass(reader);
  std::uint16_t number = 0;
  item.text = ReadTextOrNumber(reader, number);
  reader.Skip(reader.Word());  // creation data
  return item;
}

}  // namespace

std::optional<DialogTemplate> ReadDialogTemplate(std::span<const std::uint8_t> bytes) {
  constexpr std::uint32_t kExtended = 0xFFFF0001;
  ByteReader reader(bytes);
  DialogTemplate dialog;
  dialog.style = reader.Dword();
  if (dialog.style == kExtended) return std::nullopt;
  reader.Dword();  // extended style
  const std::uint16_t items = reader.Word();
  dialog.x = reader.Short();
  dialog.y = reader.Short();
  dialog.width = reader.Short();
  dialog.height = reader.Short();
  std::uint16_t number = 0;
  ReadTextOrNumber(reader, number);  // menu
  ReadTextOrNumber(reader, number);  // window class
  dialog.title = reader.Text();
  if ((dialog.style & DS_SETFONT) != 0) {
    dialog.pointSize = reader.Word();
    dialog.fontName = reader.Text();
  }
  if (!reader.Ok() || items > kMostItems || dialog.width < 0 || dialog.height < 0) {
    return std::nullopt;
  }
  for (std::uint16_t i = 0; i < items; ++i) {
    dialog.items.push_back(ReadItem(reader));
    if (!reader.Ok()) return std::nullopt;
  }
  return dialog;
}

}  // namespace desk
