<!DOCTYPE html>
<html lang="en">
<head><title>Catalogue</title></head>
<body>
<?php
require 'connection.php';
$rows = $database->query('select id, name, price, size, words from goods order by id limit ' . (int)$_GET['n']);
?>
<table>
<?php foreach ($rows as $row): ?>
<tr><td><?= htmlspecialchars($row['id']) ?></td><td><?= htmlspecialchars($row['name']) ?></td><td><?= htmlspecialchars($row['price']) ?></td><td><?= htmlspecialchars($row['size']) ?></td><td><?= htmlspecialchars($row['words']) ?></td></tr>
<?php endforeach ?>
</table>
<p><?= $rows->num_rows ?> rows</p>
</body>
</html>
