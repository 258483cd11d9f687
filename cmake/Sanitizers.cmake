# Sanitizer builds: VRT_SANITIZE=address,undefined or VRT_SANITIZE=thread applies to every target.
# Line tables (-g1) are all a sanitizer report needs for file:line; full debug information made
# the sanitizer builds a quarter slower.
if(VRT_SANITIZE)
  add_compile_options(-fsanitize=${VRT_SANITIZE} -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${VRT_SANITIZE})
  if(VRT_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
  # ThreadSanitizer does not model standalone fences, and g++ says so for every kernel that uses
  # sycl::atomic_fence; the fences still order the code, so the note is no error here.
  if(VRT_SANITIZE MATCHES "thread")
    add_compile_options(-Wno-tsan)
  endif()
endif()
