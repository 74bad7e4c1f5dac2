#ifndef QEL_POSIX_QELNEIGHBOURTABLE_H
#define QEL_POSIX_QELNEIGHBOURTABLE_H
//===----------------------------------------------------------------------===//
// Reader of the system's table of neighbours, in the form of /proc/net/arp. Pure
// text work; private to this folder.
//
//   IP address       HW type     Flags       HW address            Mask     Device
//   192.0.2.7        0x1         0x2         02:00:00:00:00:05     *        eth0
//
// A line that has another form is passed over, and so is a neighbour that did not
// answer, whose flags lack the bit 0x2.
//===----------------------------------------------------------------------===//

// Looks for the address, in network order, in the table's text and stores its hardware address in
// mac[0..5]. Returns 1, or 0 if there is none; mac is left alone then.
int qelNeighbourTable_Find(const char* table, unsigned address, unsigned char* mac);

#endif
