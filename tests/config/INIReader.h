#ifndef QEL_TESTS_CONFIG_INIREADER_H
#define QEL_TESTS_CONFIG_INIREADER_H
//===----------------------------------------------------------------------===//
// The INI format once more, stated as plainly as can be: a text in, pairs of
// "section/key" and value out, sections with an empty value among them. With no
// care for speed, and nothing shared with the library.
//===----------------------------------------------------------------------===//

#include <map>
#include <string>

class INIReader {
public:
  explicit INIReader(const std::string& text) {
    Set("default", "");
    size_t at = 0;
    while (at < text.size()) {
      // A line is what stands up to and with a CR or LF, or 1023 bytes.
      std::string line;
      while (at < text.size() && line.size() < 1023) {
        line += text[at++];
        if (line.back() == '\r' || line.back() == '\n')
          break;
      }
      if (at == line.size() && line.substr(0, 3) == "\xEF\xBB\xBF")
        line.erase(0, 3);
      ReadLine(Trimmed(line.substr(0, line.find('\0'))));
    }
  }

  std::map<std::string, std::string> values;

private:
  static std::string Trimmed(const std::string& text) {
    const char* blanks = " \t\n\v\f\r";
    const size_t first = text.find_first_not_of(blanks);
    return first == std::string::npos
               ? ""
               : text.substr(first, text.find_last_not_of(blanks) - first + 1);
  }
  static std::string Lower(std::string text) {
    for (char& c : text)
      if (c >= 'A' && c <= 'Z')
        c = static_cast<char>(c + 32);
    return text;
  }
  void Set(const std::string& key, const std::string& value) { values[key] = value; }

  void ReadLine(const std::string& line) {
    if (line.empty() || line[0] == ';' || line[0] == '#')
      return;
    const size_t close = line.find(']');
    if (line[0] == '[' && close != std::string::npos) {
      m_section = Lower(Trimmed(line.substr(1, close - 1)).substr(0, 127));
      if (m_section.empty())
        m_section = "default";
      Set(m_section, "");
      return;
    }
    const size_t equal = line.find('=');
    if (equal == 0)
      return;
    const std::string key = Lower(Trimmed(line.substr(0, equal)).substr(0, 127));
    const std::string value =
        equal == std::string::npos ? "" : Value(Trimmed(line.substr(equal + 1)));
    Set(m_section, "");
    Set(m_section + "/" + key, value);
  }

  static std::string Value(const std::string& text) {
    if (text.empty() || (text[0] != '"' && text[0] != '\''))
      return Trimmed(text.substr(0, text.find_first_of("#;")));
    std::string value;
    for (size_t at = 1; at < text.size(); ++at) {
      if (text[at] == text[0])
        return value;
      if (text[at] == '\\' && ++at == text.size())
        break;
      value += text[at];
    }
    // Not closed: as long as it stands there, its end in place of what the escapes have left free.
    return value + text.substr(1 + value.size());
  }

  std::string m_section = "default";
};

#endif
