# Calls within a library go straight to their target: nobody is to put another function of ours in its place from outside,
# and what may be exchanged is exchanged in the run time's tables.
function(kvt_fast_calls target)
  target_compile_options(${target} PRIVATE -fno-semantic-interposition -fno-plt)
  target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
endfunction()
