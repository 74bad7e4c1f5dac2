#ifndef QEL_MEDIA_MEDIAINFO_H
#define QEL_MEDIA_MEDIAINFO_H
//===----------------------------------------------------------------------===//
// qelMediaInfo, the description of one media item: four well-known text fields,
// a date, the file's path, and an open-ended table of short keys and texts. All
// typed access goes through text: numbers stand in the table as decimal text.
//
// Keys:
//   "ti" "cr" "ge" "an"  Set routes them to title, creator, genre and album. The
//                        reading operations, Remove and the line form see the
//                        table alone, and so never those four fields.
//   "cn"                 the item's class name, in the table
//   "mt"                 its MIME type, in the table
//   others               the client's, in the table
//
// The line form, one line a table entry in the table's walking order:
//
//   key=value        each "=" of the value doubled, the key as it stands
//
// Lines are separated by one "\n", with none behind the last. GetSerializedInfo
// writes it; DeserializeInfo and GetMediaInfoAsString read it, each in its own
// way; Peek takes one value out of the text without building an object.
//
// OWNERSHIP: an object owns its table. A copy, by constructor or assignment,
// shares the table's pointer without any count: only one of the two may be
// destroyed. Duplicate makes a real copy.
// ERRORS: none is reported. A number that can't be read gives the fallback. A key
// whose full hash equals that of a different key in the table ("Aa" and "BB") is
// refused with a level-1 log line, since the table can't hold the two.
// THREADS: one object is for one thread at a time.
//===----------------------------------------------------------------------===//

#include <qel/core/CString.h>
#include <qel/core/DateTime.h>
#include <qel/core/Export.h>
#include <qel/core/String.h>
#include <qel/core/Types.h>
#include <qel/core/UInt64.h>

struct qelCustomHashTable_t;

class QEL_EXPORT qelMediaInfo {
public:
  qelCString title;                 // key "ti"
  qelCString creator;               // key "cr"
  qelCString genre;                 // key "ge"
  qelCString album;                 // key "an"
  qelDateTime date;                 // the item's date; invalid in a new object
  qelCString path;                  // the item's file; filled in by the client, read by Finalize
  qelCustomHashTable_t* properties; // owned; all other keys, texts to texts, both copied

  // Empty texts, no path, an invalid date, an empty table.
  qelMediaInfo();

  // Shares the other's table: only one of the two may be destroyed.
  qelMediaInfo(const qelMediaInfo& other);

  // The same; the table that this object had is abandoned, not released.
  qelMediaInfo& operator=(const qelMediaInfo& other);

  virtual ~qelMediaInfo();

  // The table in the line form; "" for an empty table. A null value is written as an empty one.
  virtual qelCString GetSerializedInfo();

  // Reads the line form into the table; a key that exists is replaced. CR and LF end a value, and a
  // second one right behind them belongs to the same line end. A line with no "=" becomes the front of
  // the next key, line end included; at the end of the text it is dropped. Null reads nothing.
  // REQUIRES: text is not one of the table's own.
  virtual void DeserializeInfo(const char* text);

  // Reads the line form as well, despite its name. The table is cleared first; only "\n" ends a line,
  // and the first empty line ends the reading. A line with an empty key is skipped, a line with no "="
  // is a key with an empty value. A zero byte cuts the key or value it stands in.
  virtual void GetMediaInfoAsString(const qelCString& text);

  // Completes the item before it is published. An empty title becomes the file's name without its
  // extension, and "-" when that is empty too, unless keepEmptyTitle; a picture's ("cn" holds
  // "imageItem") empty album becomes the name of the file's folder; title, album and creator are trimmed.
  virtual void Finalize(bool keepEmptyTitle);

  // True if both "cn" and "mt" are in the table and not empty.
  virtual bool Validate();

  // A real copy with a table of its own. The caller deletes it.
  qelMediaInfo* Duplicate() const;

  // Stores value under key. With overwrite false, a table entry that is not empty stays as it is; the
  // four routed keys are not in the table, and so always replaced. A null value is stored as null (an
  // empty text in a field). REQUIRES: key is not null.
  void Set(const char* key, const char* value, bool overwrite);
  void Set(const char* key, const qelCString& value, bool overwrite);

  // The value as UTF-8.
  void Set(const char* key, const qelString& value, bool overwrite);

  // The value as decimal text, once for every native integer. A float has six digits behind the point.
  void Set(const char* key, unsigned int value, bool overwrite);
  void Set(const char* key, unsigned long value, bool overwrite);
  void Set(const char* key, unsigned long long value, bool overwrite);
  void Set(const char* key, int value, bool overwrite);
  void Set(const char* key, long value, bool overwrite);
  void Set(const char* key, long long value, bool overwrite);
  void Set(const char* key, float value, bool overwrite);
  void Set(const char* key, const qeluint64& value, bool overwrite);

  // Takes the table's entry away, if there is one. REQUIRES: key is not null.
  void Remove(const char* key);

  // The table's text under key, or fallback if the key is absent or its value null.
  // REQUIRES, here and below: key is not null.
  qelCString GetCString(const char* key, const qelCString& fallback) const;

  // The same, decoded from UTF-8; malformed text gives the empty string.
  qelString GetString(const char* key, const qelString& fallback) const;

  // The number under key; fallback if the key is absent, its value null, or not wholly a number in range.
  int GetInt(const char* key, int fallback) const;
  qelULong GetUInt32(const char* key, qelULong fallback) const;
  float GetFloat(const char* key, float fallback) const;

  // The same, but what stands behind the digits is not looked at.
  qeluint64 GetUInt64(const char* key, const qeluint64& fallback) const;

  // True if the table is not empty or one of title, creator, genre, album is not.
  bool HasInfo() const;

  // The value of the first line of the line form `info` that begins with `key`, as a new text that the
  // caller releases with free; null if there is none, or for a null argument. The character behind the key
  // is not looked at: a key that is the front of a longer key also finds that longer key's line.
  static char* Peek(const char* info, const char* key);
};

#endif
