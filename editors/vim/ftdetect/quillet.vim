" Macro files by their name. Pages are called .html like any other: those that define a macro, or call an operator that
" is hardly ever missing, in their first lines.
function! s:LooksLikeAPage() abort
  for line in getline(1, 60)
    if line =~# '^@\w\|\^\%(if\|ifdef\|eq\|default\|var\|eval\|form\|env\|macro\|macro_use\|load\|menu\|item\|rem\|optimize\|server\)\['
      return 1
    endif
  endfor
  return 0
endfunction

augroup quillet_filetype
  autocmd!
  autocmd BufRead,BufNewFile _*.cfg set filetype=quillet
  autocmd BufRead *.html if s:LooksLikeAPage() | set filetype=quillet | endif
augroup END
