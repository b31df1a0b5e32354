" Vim filetype plugin for PML
if exists('b:did_ftplugin')
  finish
endif
let b:did_ftplugin = 1

setlocal comments=s:(*,ex:*) commentstring=(*\ %s\ *)
setlocal expandtab shiftwidth=4 softtabstop=4
setlocal iskeyword+=.,-
setlocal matchpairs=(:)
let b:undo_ftplugin = 'setlocal comments< commentstring< expandtab< shiftwidth< softtabstop< iskeyword< matchpairs<'
