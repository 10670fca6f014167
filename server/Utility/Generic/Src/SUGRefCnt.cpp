#include "Utility/Generic/SUGRefCnt.h"

RefCountable::~RefCountable() = default;
