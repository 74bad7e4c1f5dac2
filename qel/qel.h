#ifndef QEL_QEL_H
#define QEL_QEL_H
//===----------------------------------------------------------------------===//
// Every exported class, folder by folder.
//===----------------------------------------------------------------------===//

#include <qel/core/CString.h>
#include <qel/core/CStringTokenizer.h>
#include <qel/core/CharBuffer.h>
#include <qel/core/Convert.h>
#include <qel/core/DateTime.h>
#include <qel/core/Error.h>
#include <qel/core/String.h>
#include <qel/core/StringList.h>
#include <qel/core/StringTokenizer.h>
#include <qel/core/UInt64.h>

#include <qel/containers/BaseList.h>
#include <qel/containers/BitString.h>
#include <qel/containers/DataBuffer.h>
#include <qel/containers/GrowingBuffer.h>
#include <qel/containers/List.h>
#include <qel/containers/Ref.h>
#include <qel/containers/RefCounted.h>
#include <qel/containers/StringHashMap.h>
#include <qel/containers/UserData.h>

#include <qel/threads/Broadcaster.h>
#include <qel/threads/ActivityManager.h>
#include <qel/threads/Applet.h>
#include <qel/threads/Condition.h>
#include <qel/threads/CriticalSection.h>
#include <qel/threads/Listener.h>
#include <qel/threads/ListenerWorkerThread.h>
#include <qel/threads/Message.h>
#include <qel/threads/MessageQueue.h>
#include <qel/threads/Mutex.h>
#include <qel/threads/Select.h>
#include <qel/threads/Query.h>
#include <qel/threads/QueryManager.h>
#include <qel/threads/Semaphore.h>
#include <qel/threads/Timeout.h>
#include <qel/threads/TimeoutQueue.h>
#include <qel/threads/StoppableThread.h>
#include <qel/threads/StatusManager.h>

#include <qel/files/Dir.h>
#include <qel/files/File.h>
#include <qel/files/FileHelper.h>
#include <qel/files/PathName.h>
#include <qel/files/PluginHandler.h>
#include <qel/files/PluginLoader.h>
#include <qel/files/SingleInstanceChecker.h>
#include <qel/files/TextFile.h>

#include <qel/config/CommandLineParser.h>

#include <qel/config/Config.h>
#include <qel/config/ConfigConfig.h>

#include <qel/cache/Cache.h>
#include <qel/cache/CachedBase.h>
#include <qel/cache/FileCacheManager.h>

#include <qel/media/DLNAInfoMatcher.h>
#include <qel/media/ExpressionParser.h>
#include <qel/media/MediaInfo.h>
#include <qel/media/SearchExpression.h>
#include <qel/media/SearchExpressionEvaluator.h>

#include <qel/serialize/EmptySerialize.h>
#include <qel/serialize/ISerialize.h>
#include <qel/serialize/JSONFormatter.h>
#include <qel/serialize/MediaInfoSerializer.h>
#include <qel/serialize/Obfuscate.h>
#include <qel/serialize/PropertyListFormatter.h>
#include <qel/serialize/PropertyListSerializer.h>

#include <qel/geometry/FRegion.h>
#include <qel/geometry/Point.h>
#include <qel/geometry/Rect.h>
#include <qel/geometry/Region.h>
#include <qel/geometry/SERegion.h>

#endif
