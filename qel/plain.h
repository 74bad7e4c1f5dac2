#ifndef QEL_PLAIN_H
#define QEL_PLAIN_H
//===----------------------------------------------------------------------===//
// Every module of the plain layer: functions on records. They are visible to
// code that links the archive (qel::static), not through the shared library.
//===----------------------------------------------------------------------===//

#include <qel/core/qelBytes.h>
#include <qel/core/qelChar.h>
#include <qel/core/qelFatalError.h>
#include <qel/core/qelMatch.h>
#include <qel/core/qelMem.h>
#include <qel/core/qelNum.h>
#include <qel/core/qelSegment.h>
#include <qel/core/qelULongLong.h>
#include <qel/core/qelUTF8.h>
#include <qel/core/qelWStr.h>

#include <qel/multiplatform/qelCondition.h>
#include <qel/multiplatform/qelConsole.h>
#include <qel/multiplatform/qelCriticalSection.h>
#include <qel/multiplatform/qelDir.h>
#include <qel/multiplatform/qelFile.h>
#include <qel/multiplatform/qelMutex.h>
#include <qel/multiplatform/qelPath.h>
#include <qel/multiplatform/qelPlatform.h>
#include <qel/multiplatform/qelPlugin.h>
#include <qel/multiplatform/qelSemaphore.h>
#include <qel/multiplatform/qelSocket.h>
#include <qel/multiplatform/qelThread.h>
#include <qel/multiplatform/qelSocketLog.h>
#include <qel/multiplatform/qelSocketSelect.h>
#include <qel/multiplatform/qelSingleInstanceChecker.h>
#include <qel/multiplatform/qelTelnet.h>
#include <qel/multiplatform/qelTime.h>

#include <qel/containers/qelArray.h>
#include <qel/containers/qelArrayBuffer.h>
#include <qel/containers/qelByteKeyMap.h>
#include <qel/containers/qelCustomHashTable.h>
#include <qel/containers/qelPtrList.h>

#include <qel/config/qelConfigFile.h>
#include <qel/config/qelINIFile.h>
#include <qel/config/qelStringSubstitute.h>
#include <qel/threads/qelStatusPrint.h>

#include <qel/media/qelDLNAProfiles.h>

#include <qel/serialize/qelBase64.h>
#include <qel/serialize/qelEscape.h>
#include <qel/serialize/qelHex.h>
#include <qel/serialize/qelPackedData.h>
#include <qel/serialize/qelPackedText.h>
#include <qel/serialize/qelRC4.h>

#include <qel/geometry/qelFRegion.h>

#endif
