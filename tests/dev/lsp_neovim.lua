-- A conversation of Neovim's own client with the language server. Run by lsp_neovim_test.py, which reads the file that
-- the variable QUILLET_FOUND names: lines "what: value".
local found = {}
local function note(what, value)
  table.insert(found, what .. ': ' .. tostring(value))
end

local function messages()
  local texts = {}
  for _, each in ipairs(vim.diagnostic.get(0)) do
    table.insert(texts, each.lnum .. ':' .. each.col .. ' ' .. (each.code or each.user_data.lsp.code))
  end
  return table.concat(texts, ', ')
end

-- Waits for something that another process does.
local function wait_for(what, condition)
  if not vim.wait(20000, condition, 5) then note('waited in vain for', what .. ', ' .. messages()) end
end

local function request(method, line, character, more)
  local params = vim.tbl_extend('force', {
    textDocument = vim.lsp.util.make_text_document_params(),
    position = { line = line, character = character },
  }, more or {})
  local answers = vim.lsp.buf_request_sync(0, method, params, 60000)
  for _, answer in pairs(answers or {}) do return answer.result end
end

local function change_line(line, text)
  vim.api.nvim_buf_set_lines(0, line, line + 1, false, { text })
end

local function converse()
  require('quillet').setup({ program = vim.env.QUILLET_DEV })
  vim.cmd('edit www/index.html')
  wait_for('the client', function() return next(vim.lsp.buf_get_clients(0)) ~= nil end)
  wait_for('the findings', function() return #vim.diagnostic.get(0) == 1 end)
  note('findings', messages())

  change_line(1, '<p>^macro[greet;Ann]')
  wait_for('no findings', function() return #vim.diagnostic.get(0) == 0 end)

  change_line(1, '<p>ä^macro[greet;^su')
  for _, item in ipairs(request('textDocument/completion', 1, 20).items) do
    if item.label == 'sum' then note('completion', item.textEdit.newText) end
  end
  note('signature', request('textDocument/signatureHelp', 1, 20).signatures[1].label)
  change_line(1, '<p>ä^macro[greet;^sum[1;2]]')
  wait_for('no findings again', function() return #vim.diagnostic.get(0) == 0 end)
  note('hover', request('textDocument/hover', 1, 19).contents.value:match('%^sum[^\n]*'))

  vim.api.nvim_win_set_cursor(0, { 2, 13 })
  vim.lsp.buf.rename('hello')
  wait_for('the new name', function() return vim.fn.getline(2):find('hello', 1, true) end)
  note('renamed', vim.fn.getline(2))
  vim.cmd('wall')  -- the other file may be in a buffer that no client sees
  vim.lsp.buf.definition()
  wait_for('the definition', function() return vim.fn.expand('%:t') == '_macro.cfg' end)
  note('definition', vim.fn.expand('%:t') .. ' ' .. vim.fn.line('.') .. ' ' .. vim.fn.getline('.'))
end

local done, problem = pcall(converse)
if not done then note('problem', problem) end
vim.fn.writefile(found, vim.env.QUILLET_FOUND)
vim.cmd('quitall!')
