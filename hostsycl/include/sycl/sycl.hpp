// Host implementation of the SYCL 2020 subset: the one header a program includes.
#pragma once

#include <sycl/detail/accessor.hpp>
#include <sycl/detail/atomic.hpp>
#include <sycl/detail/buffer.hpp>
#include <sycl/detail/context.hpp>
#include <sycl/detail/defines.hpp>
#include <sycl/detail/device.hpp>
#include <sycl/detail/event.hpp>
#include <sycl/detail/exception.hpp>
#include <sycl/detail/functional.hpp>
#include <sycl/detail/group.hpp>
#include <sycl/detail/group_functions.hpp>
#include <sycl/detail/handler.hpp>
#include <sycl/detail/index.hpp>
#include <sycl/detail/info.hpp>
#include <sycl/detail/kernel_launch.hpp>
#include <sycl/detail/local_accessor.hpp>
#include <sycl/detail/marray.hpp>
#include <sycl/detail/math.hpp>
#include <sycl/detail/multi_ptr.hpp>
#include <sycl/detail/properties.hpp>
#include <sycl/detail/queue.hpp>
#include <sycl/detail/runtime_services.hpp>
#include <sycl/detail/usm.hpp>
#include <sycl/detail/vec.hpp>
