" Vim takes *.pml for Promela. That has declarations and braces, which no PML begins a line with.
function s:DetectPml()
  for line in getline(1, 100)
    if line =~# '^\s*\%(/[*/]\|#\|\%(active\|proctype\|inline\|mtype\|typedef\|chan\|byte\|int\|bool\|ltl\)\>\|init\s*{\)'
          \ && line !~# '^\s*\k\+\s*[(:]'
      return
    endif
  endfor
  set filetype=pml
endfunction

autocmd BufNewFile,BufRead *.pml call s:DetectPml()
