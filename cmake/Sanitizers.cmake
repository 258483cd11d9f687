# Sanitizer builds: VRT_SANITIZE=address,undefined or VRT_SANITIZE=thread applies to every target.
if(VRT_SANITIZE)
  add_compile_options(-fsanitize=${VRT_SANITIZE} -fno-omit-frame-pointer -g)
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
