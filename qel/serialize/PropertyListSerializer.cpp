#include <qel/serialize/PropertyListSerializer.h>

qelPropertyListSerializer::~qelPropertyListSerializer() = default;

int qelPropertyListSerializer::Serialize(qelPropertyList* list, qelISerialize& target) {
  qelPropertyList_Take(list, /*key=*/nullptr);
  int status = target.MapBegin();
  qelProperty* property = list != nullptr ? list->first : nullptr;
  for (; status == 0 && property != nullptr; property = property->next)
    status = SerializeProperty(property, target);
  if (status == 0)
    status = target.MapEnd();
  qelPropertyList_Release(list);
  return status;
}

int qelPropertyListSerializer::SerializeProperty(qelProperty* property, qelISerialize& target) {
  int status = target.MapKey(property->key, /*raw=*/false);
  if (status == 0 && property->count > 1)
    status = target.ArrayBegin();
  // INTENDED: nothing stands between the values. Readers of lists see the events, not their text.
  // Pinned by PropertyListSerializer.SendsNoSeparatorBetweenValues.
  for (uint32_t i = 0; status == 0 && i < property->count; ++i)
    status = SerializeData(&property->values[i], target);
  if (status == 0 && property->count > 1)
    status = target.ArrayEnd();
  return status;
}

int qelPropertyListSerializer::SerializeData(qelData* data, qelISerialize& target) {
  switch (data->kind) {
  case QEL_DATA_UINT32:
    return target.U32(data->value.u32);
  case QEL_DATA_DOUBLE:
    return target.Float(data->value.number);
  case QEL_DATA_UINT64:
    return target.U64(data->value.u64);
  case QEL_DATA_CHARPTR:
    return target.String(data->value.text, /*raw=*/false);
  case QEL_DATA_NONE:
    return 0;
  case QEL_DATA_WCHARPTR:
    return target.String(data->value.wide, /*raw=*/false);
  default:
    return target.Null();
  }
}
