if(BRAVIC_SANITIZE)
  add_compile_options(-fsanitize=${BRAVIC_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=${BRAVIC_SANITIZE})
endif()
