#include <qel/containers/List.h>

template class qelListItem<void*>;
template class qelListItem<qelCachedBase*>;
template class qelListItem<qelRef<qelCachedBase>>;
template class qelListIterator<void*>;
template class qelListIterator<qelCachedBase*>;
template class qelListIterator<qelRef<qelCachedBase>>;
template class qelList<void*>;
template class qelList<qelCachedBase*>;
template class qelList<qelRef<qelCachedBase>>;
