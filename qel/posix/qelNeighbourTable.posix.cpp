#include <qel/posix/qelNeighbourTable.h>

#include <cstdio>
#include <cstring>

#include <arpa/inet.h>

static const unsigned kComplete = 0x2; // the neighbour has told its hardware address

// Reads the line at p. Returns 1 if it tells the hardware address of this neighbour, otherwise 0.
static int ReadLine(const char* p, unsigned address, unsigned char* mac) {
  char text[16];
  unsigned kind = 0;
  unsigned flags = 0;
  unsigned bytes[6];
  if (sscanf(p, "%15[0-9.] %x %x %2x:%2x:%2x:%2x:%2x:%2x", text, &kind, &flags, &bytes[0],
             &bytes[1], &bytes[2], &bytes[3], &bytes[4], &bytes[5]) != 9)
    return 0;
  in_addr neighbour = {};
  if (::inet_aton(text, &neighbour) == 0 || neighbour.s_addr != address)
    return 0;
  if ((flags & kComplete) == 0)
    return 0;
  for (int i = 0; i < 6; ++i)
    mac[i] = static_cast<unsigned char>(bytes[i]);
  return 1;
}

int qelNeighbourTable_Find(const char* table, unsigned address, unsigned char* mac) {
  for (const char* p = table; *p != '\0';) {
    if (ReadLine(p, address, mac))
      return 1;
    p += strcspn(p, "\n");
    if (*p == '\n')
      ++p;
  }
  return 0;
}
