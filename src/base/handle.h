// Reference-counted handles to objects the library hands out.
#pragma once

#include <memory>

// The object is freed when the last handle to it goes.
template <typename T>
using vxPtrHandle = std::shared_ptr<T>;
template <typename T>
using vxPtrHandle_const = std::shared_ptr<const T>;
