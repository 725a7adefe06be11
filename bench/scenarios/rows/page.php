<!DOCTYPE html>
<html lang="en">
<head><title>Catalogue</title></head>
<body>
<?php $rows = file('_rows-' . (int)$_GET['n'], FILE_IGNORE_NEW_LINES); ?>
<table>
<?php foreach ($rows as $row):
  $cells = explode("\t", $row); ?>
<tr><td><?= htmlspecialchars($cells[0]) ?></td><td><?= htmlspecialchars($cells[1]) ?></td><td><?= htmlspecialchars($cells[2]) ?></td><td><?= htmlspecialchars($cells[3]) ?></td><td><?= htmlspecialchars($cells[4]) ?></td></tr>
<?php endforeach ?>
</table>
<p><?= count($rows) ?> rows</p>
</body>
</html>
