# Warnings for vek's own targets (third-party code is built without them).
function(vek_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(VEK_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
