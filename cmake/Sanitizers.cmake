# Sanitizer builds: VRT_SANITIZE=address,undefined or VRT_SANITIZE=thread applies to every target.
if(VRT_SANITIZE)
  add_compile_options(-fsanitize=${VRT_SANITIZE} -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=${VRT_SANITIZE})
  if(VRT_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()
