-- The language server for Neovim. In init.lua: require('quillet').setup()
local quillet = {}

-- `options.program` is the program, "quillet-dev" by default; `options.on_attach` is called as for any client.
function quillet.setup(options)
  options = options or {}
  local clients = {}
  vim.api.nvim_create_autocmd('FileType', {
    pattern = 'quillet',
    callback = function(event)
      local folder = vim.fn.fnamemodify(vim.api.nvim_buf_get_name(event.buf), ':p:h')
      local pages = vim.fn.finddir('www', folder .. ';')
      local root = pages ~= '' and vim.fn.fnamemodify(pages, ':p:h:h') or folder
      clients[root] = clients[root] or vim.lsp.start_client({
        name = 'quillet',
        cmd = { options.program or 'quillet-dev', 'lsp' },
        root_dir = root,
        on_attach = options.on_attach,
        on_exit = function() clients[root] = nil end,
      })
      if clients[root] then vim.lsp.buf_attach_client(event.buf, clients[root]) end
    end,
  })
end

return quillet
