// Starts `quillet-dev lsp` for pages and macro files, and offers `quillet-dev check` as a task.
'use strict';
const vscode = require('vscode');
const { LanguageClient } = require('vscode-languageclient/node');

let client;

function checkTask(program, folder) {
  const execution = new vscode.ProcessExecution(program, ['check', '--format', 'gcc', '.'], { cwd: folder.uri.fsPath });
  const task = new vscode.Task({ type: 'quillet' }, folder, 'check', 'quillet', execution, '$quillet');
  task.group = vscode.TaskGroup.Build;
  return task;
}

exports.activate = function (context) {
  const program = vscode.workspace.getConfiguration('quillet').get('program');
  context.subscriptions.push(vscode.tasks.registerTaskProvider('quillet', {
    provideTasks: () => (vscode.workspace.workspaceFolders || []).map((folder) => checkTask(program, folder)),
    resolveTask: () => undefined,
  }));
  const server = { command: program, args: ['lsp'] };
  client = new LanguageClient('quillet', 'Quillet', server, { documentSelector: [{ language: 'quillet' }] });
  return client.start();
};

exports.deactivate = function () {
  return client && client.stop();
};
